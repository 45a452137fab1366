#include "SaveFileAccess.h"

#include "VxFileSystem.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A save file is a few lines; anything larger is not one of ours.
const off_t kMaxFileSize = 4 * 1024 * 1024;

bool validName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

bool writable(const std::string& mode)
{
    return mode.find_first_of("wa+") != std::string::npos;
}

void appendEscaped(std::string& out, const std::string& text, bool isKey)
{
    for (char c : text) {
        switch (c) {
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '=':
            if (isKey)
                out += "\\=";
            else
                out += c;
            break;
        default: out += c; break;
        }
    }
}

// Splits one line into key and value; false for a line that is not a
// well-formed entry.
bool parseLine(const std::string& line, std::string& key, std::string& value)
{
    key.clear();
    value.clear();
    std::string* target = &key;
    bool inValue = false;
    for (size_t i = 0; i < line.size(); ++i) {
        char c = line[i];
        if (c == '\\') {
            if (++i == line.size())
                return false;
            switch (line[i]) {
            case '\\': c = '\\'; break;
            case 'n': c = '\n'; break;
            case 'r': c = '\r'; break;
            case '=': c = '='; break;
            default: return false;
            }
        } else if (c == '=' && !inValue) {
            inValue = true;
            target = &value;
            continue;
        }
        *target += c;
    }
    return inValue && !key.empty();
}

bool parseInt(const std::string& text, int& out)
{
    size_t i = 0;
    const bool negative = !text.empty() && text[0] == '-';
    if (negative)
        i = 1;
    if (i == text.size())
        return false;
    long long magnitude = 0;
    for (; i < text.size(); ++i) {
        const char c = text[i];
        if (c < '0' || c > '9')
            return false;
        magnitude = magnitude * 10 + (c - '0');
        if (magnitude > static_cast<long long>(INT_MAX) + 1)
            return false;
    }
    const long long value = negative ? -magnitude : magnitude;
    if (value > INT_MAX || value < INT_MIN)
        return false;
    out = static_cast<int>(value);
    return true;
}

bool readWhole(const std::string& path, std::string& content, bool& missing)
{
    missing = false;
    int fd;
    do {
        fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        missing = errno == ENOENT;
        return false;
    }
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > kMaxFileSize) {
        close(fd);
        return false;
    }
    content.clear();
    char buffer[4096];
    for (;;) {
        const ssize_t count = read(fd, buffer, sizeof(buffer));
        if (count == 0)
            break;
        if (count < 0) {
            if (errno == EINTR)
                continue;
            close(fd);
            return false;
        }
        content.append(buffer, static_cast<size_t>(count));
        if (content.size() > static_cast<size_t>(kMaxFileSize)) {
            close(fd);
            return false;
        }
    }
    close(fd);
    return true;
}

bool writeAll(int fd, const std::string& content)
{
    size_t written = 0;
    while (written < content.size()) {
        const ssize_t count = write(fd, content.data() + written, content.size() - written);
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        written += static_cast<size_t>(count);
    }
    return true;
}

void syncDirectory(const std::string& directory)
{
    const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}

} // namespace

SaveFileAccessMetaText::SaveFileAccessMetaText(const std::string& name, const std::string& mode)
    : SaveFileAccessBase(name, mode), opened(false)
{
}

SaveFileAccessMetaText::~SaveFileAccessMetaText() = default;

int SaveFileAccessMetaText::FOpen()
{
    entries.clear();
    opened = false;
    if (!validName(fileName))
        return -1;
    // "w" starts empty; the old file stays until the next Flush.
    if (openMode.find('w') != std::string::npos) {
        opened = true;
        return 0;
    }
    std::string content;
    bool missing = false;
    if (!readWhole(path(), content, missing)) {
        if (!missing)
            return -1;
        opened = true;
        return 0;
    }
    size_t start = 0;
    std::string key;
    std::string value;
    while (start < content.size()) {
        size_t end = content.find('\n', start);
        if (end == std::string::npos)
            end = content.size();
        std::string line = content.substr(start, end - start);
        // A raw carriage return is never written; it comes from an edited file.
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (parseLine(line, key, value))
            entries[key] = value;
        start = end + 1;
    }
    opened = true;
    return 0;
}

int SaveFileAccessMetaText::FClose()
{
    if (!opened)
        return -1;
    entries.clear();
    opened = false;
    return 0;
}

int SaveFileAccessMetaText::Flush()
{
    if (!opened || !writable(openMode) || !validName(fileName))
        return -1;
    const std::string directoryPath = directory();
    if (!VxFileSystem::makeDirectories(directoryPath))
        return -1;
    std::string content;
    for (const auto& entry : entries) {
        appendEscaped(content, entry.first, true);
        content += '=';
        appendEscaped(content, entry.second, false);
        content += '\n';
    }
    const std::string target = path();
    const std::string temporary = target + ".tmp";
    int fd;
    do {
        fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return -1;
    const bool written = writeAll(fd, content) && fsync(fd) == 0;
    const bool closed = close(fd) == 0;
    if (!written || !closed || std::rename(temporary.c_str(), target.c_str()) != 0) {
        unlink(temporary.c_str());
        return -1;
    }
    syncDirectory(directoryPath);
    return 0;
}

int SaveFileAccessMetaText::Get(const char* key, std::string* value) const
{
    if (!opened || key == nullptr || value == nullptr)
        return -1;
    const auto found = entries.find(key);
    if (found == entries.end())
        return -1;
    *value = found->second;
    return 0;
}

int SaveFileAccessMetaText::Get(const char* key, int* value) const
{
    if (!opened || key == nullptr || value == nullptr)
        return -1;
    const auto found = entries.find(key);
    int parsed = 0;
    if (found == entries.end() || !parseInt(found->second, parsed))
        return -1;
    *value = parsed;
    return 0;
}

int SaveFileAccessMetaText::Set(const char* key, const std::string& value)
{
    if (!opened || key == nullptr || key[0] == '\0')
        return -1;
    entries[key] = value;
    return 0;
}

int SaveFileAccessMetaText::Set(const char* key, int value)
{
    return Set(key, std::to_string(value));
}
