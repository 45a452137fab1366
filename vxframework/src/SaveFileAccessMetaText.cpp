#include "SaveFileAccess.h"

#include "VxDbgOutput.h"
#include "VxFileSystem.h"
#include "VxHostSaveFile.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
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

enum class ReadResult { Read, Missing, NotAFile, NotOurs, Unreadable };

// Links followed before giving up on a chain, as the kernel does.
const int kMaxLinks = 40;

std::string directoryOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// The file that path stands for: path itself, or the end of the chain of
// symbolic links that starts there (which need not exist). False for a
// chain that does not end or a link that cannot be read.
bool resolveLinks(const std::string& path, std::string& target)
{
    target = path;
    for (int hops = 0; hops < kMaxLinks; ++hops) {
        struct stat info;
        if (lstat(target.c_str(), &info) != 0 || !S_ISLNK(info.st_mode))
            return true;
        std::string link(static_cast<size_t>(info.st_size > 0 ? info.st_size : PATH_MAX) + 1, '\0');
        const ssize_t length = readlink(target.c_str(), &link[0], link.size());
        if (length <= 0 || static_cast<size_t>(length) >= link.size())
            return false;
        link.resize(static_cast<size_t>(length));
        target = link[0] == '/' ? link : directoryOf(target) + "/" + link;
    }
    return false;
}

// Reads the file that path stands for, through links, without blocking: a
// FIFO would block open() until a writer came, and a device may act on
// being opened, so only a regular file is ever opened.
ReadResult readWhole(const std::string& path, std::string& content)
{
    std::string target;
    if (!resolveLinks(path, target))
        return ReadResult::NotAFile;
    struct stat info;
    if (lstat(target.c_str(), &info) != 0)
        return errno == ENOENT ? ReadResult::Missing : ReadResult::Unreadable;
    if (!S_ISREG(info.st_mode))
        return ReadResult::NotAFile;
    int fd;
    do {
        fd = open(target.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        // Replaced between lstat and open.
        if (errno == ENOENT)
            return ReadResult::Missing;
        return errno == ELOOP ? ReadResult::NotAFile : ReadResult::Unreadable;
    }
    if (fstat(fd, &info) != 0) {
        close(fd);
        return ReadResult::Unreadable;
    }
    if (!S_ISREG(info.st_mode)) {
        close(fd);
        return ReadResult::NotAFile;
    }
    if (info.st_size > kMaxFileSize) {
        close(fd);
        return ReadResult::NotOurs;
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
            return ReadResult::Unreadable;
        }
        content.append(buffer, static_cast<size_t>(count));
        if (content.size() > static_cast<size_t>(kMaxFileSize)) {
            close(fd);
            return ReadResult::NotOurs;
        }
    }
    close(fd);
    return ReadResult::Read;
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
    switch (readWhole(VxHostSaveFile::path(fileName), content)) {
    case ReadResult::Read:
        break;
    case ReadResult::Missing:
        opened = true;
        return 0;
    case ReadResult::NotAFile:
    case ReadResult::NotOurs:
        // Holds nothing of ours; a Flush may put a file in its place.
        opened = true;
        return -1;
    case ReadResult::Unreadable:
        return -1;
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
    if (!VxFileSystem::makeDirectories(VxHostSaveFile::directory()))
        return -1;
    std::string content;
    for (const auto& entry : entries) {
        appendEscaped(content, entry.first, true);
        content += '=';
        appendEscaped(content, entry.second, false);
        content += '\n';
    }
    // Through a link the link's target is replaced and the link stays: the
    // persistent copy may live on another partition.
    std::string target;
    if (!resolveLinks(VxHostSaveFile::path(fileName), target)) {
        VxDbgOutput::DbgPrintStdErr(__FILE__, __func__, __LINE__, "%s: the link does not end in a file\n",
                                    fileName.c_str());
        return -1;
    }
    const std::string directory = directoryOf(target);
    struct stat info;
    if (stat(directory.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        VxDbgOutput::DbgPrintStdErr(__FILE__, __func__, __LINE__, "%s: the link's directory %s is missing\n",
                                    fileName.c_str(), directory.c_str());
        return -1;
    }
    // A name of its own for every writer, so that two processes sharing the
    // directory never write into or rename each other's file.
    std::string temporary = target + ".XXXXXX";
    int fd;
    do {
        fd = mkostemp(&temporary[0], O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return -1;
    const bool written = writeAll(fd, content) && fsync(fd) == 0;
    const bool closed = close(fd) == 0;
    if (!written || !closed || std::rename(temporary.c_str(), target.c_str()) != 0) {
        unlink(temporary.c_str());
        return -1;
    }
    syncDirectory(directory);
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
