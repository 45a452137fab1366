#include "OrvSimAccounts.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

namespace {

const size_t kMaxTokens = 100000;
const size_t kTokensShown = 5;
const size_t kKeyBytes = 32;

std::string hexOf(const std::string& raw)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (char c : raw) {
        const unsigned char b = static_cast<unsigned char>(c);
        text += digits[b >> 4];
        text += digits[b & 0x0F];
    }
    return text;
}

// The bytes of lower-case hex text; empty for anything else.
std::string bytesOfHex(const std::string& text)
{
    std::string raw;
    for (size_t i = 0; text.size() % 2 == 0 && i < text.size(); i += 2) {
        const char* digits = "0123456789abcdef";
        const char* high = std::strchr(digits, text[i]);
        const char* low = std::strchr(digits, text[i + 1]);
        if (text[i] == '\0' || text[i + 1] == '\0' || high == nullptr || low == nullptr) {
            return std::string();
        }
        raw += static_cast<char>(((high - digits) << 4) | (low - digits));
    }
    return raw;
}

std::string randomBytes(size_t count)
{
    std::string raw(count, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(&raw[0]), static_cast<int>(count)) != 1) {
        return std::string();
    }
    return raw;
}

std::string randomText(size_t bytes)
{
    return hexOf(randomBytes(bytes));
}

} // namespace

OrvSimAccounts::OrvSimAccounts() : signingKey(randomBytes(kKeyBytes)) {}

void OrvSimAccounts::setSigningKey(const std::string& key)
{
    std::lock_guard<std::mutex> lock(mutex);
    signingKey = key;
}

bool OrvSimAccounts::keptKey(const std::string& path, std::string& key, std::string& error)
{
    std::ifstream in(path, std::ios::binary);
    if (in) {
        key.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        if (key.size() == kKeyBytes) {
            return true;
        }
        error = path + " is not a key of " + std::to_string(kKeyBytes) + " bytes; remove it to start with a new one";
        return false;
    }
    key = randomBytes(kKeyBytes);
    // Written aside and linked into place: two simulators starting at once agree on one key.
    const std::string aside = path + ".new" + std::to_string(getpid());
    const int fd = ::open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const bool written = fd >= 0 && key.size() == kKeyBytes &&
                         ::write(fd, key.data(), key.size()) == static_cast<ssize_t>(key.size()) && ::fsync(fd) == 0;
    const int saved = fd < 0 ? errno : 0;
    if (fd >= 0) {
        ::close(fd);
    }
    const bool linked = written && (::link(aside.c_str(), path.c_str()) == 0 || errno == EEXIST);
    ::unlink(aside.c_str());
    if (!linked) {
        error = "cannot keep the token key in " + path + (saved != 0 ? std::string(": ") + std::strerror(saved) : "");
        return false;
    }
    return keptKey(path, key, error);
}

std::string OrvSimAccounts::sign(const std::string& claims) const
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    HMAC(EVP_sha256(), signingKey.data(), static_cast<int>(signingKey.size()),
         reinterpret_cast<const unsigned char*>(claims.data()), claims.size(), digest, &length);
    return std::string(reinterpret_cast<const char*>(digest), length);
}

bool OrvSimAccounts::load(const QJsonArray& list, std::string& error)
{
    std::map<std::string, Account> loaded;
    for (const QJsonValue& value : list) {
        const QJsonObject object = value.toObject();
        const std::string loginId = object.value("loginid").toString().toStdString();
        const std::string password = object.value("password").toString().toStdString();
        if (loginId.empty() || password.empty()) {
            error = "every account needs \"loginid\" and \"password\"";
            return false;
        }
        loaded[loginId] = Account{password, object.value("role").toString("tlv").toStdString()};
    }
    std::lock_guard<std::mutex> lock(mutex);
    accounts.swap(loaded);
    tokens.clear();
    return true;
}

void OrvSimAccounts::setTokenLifetime(int64_t seconds)
{
    std::lock_guard<std::mutex> lock(mutex);
    lifetime = seconds;
}

int64_t OrvSimAccounts::tokenLifetime() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return lifetime;
}

bool OrvSimAccounts::signIn(int environment, const std::string& loginId, const std::string& password,
                            QJsonObject& answer)
{
    std::lock_guard<std::mutex> lock(mutex);
    auto account = accounts.find(loginId);
    if (account == accounts.end() || account->second.password != password) {
        return false;
    }
    const int64_t now = static_cast<int64_t>(std::time(nullptr));
    if (tokens.size() >= kMaxTokens) {
        for (auto it = tokens.begin(); it != tokens.end();) {
            it = it->second.expiresAt <= now ? tokens.erase(it) : std::next(it);
        }
        if (tokens.size() >= kMaxTokens) {
            tokens.erase(tokens.begin());
        }
    }
    // environment, expiry, a nonce and the login id, then the HMAC of that text.
    const std::string claims = hexOf(std::to_string(environment) + "\n" + std::to_string(now + lifetime) + "\n" +
                                     randomText(8) + "\n" + loginId);
    const std::string token = claims + "." + hexOf(sign(claims));
    tokens[token] = Token{environment, now + lifetime, loginId, ++issued};
    answer = QJsonObject();
    answer.insert("access_token", QString::fromStdString(token));
    answer.insert("refresh_token", QString::fromStdString(randomText(32)));
    answer.insert("expires_in", static_cast<double>(lifetime));
    answer.insert("expiration_date", static_cast<double>(now + lifetime));
    answer.insert("role", QString::fromStdString(account->second.role));
    return true;
}

OrvSimAccounts::Check OrvSimAccounts::check(int environment, const std::string& authorization,
                                            std::string* loginId)
{
    static const std::string scheme = "Bearer ";
    if (authorization.size() <= scheme.size() || authorization.compare(0, scheme.size(), scheme) != 0) {
        return Check::Missing;
    }
    const std::string token = authorization.substr(scheme.size());
    std::lock_guard<std::mutex> lock(mutex);
    auto found = tokens.find(token);
    if (found == tokens.end()) {
        // Issued before a restart, forged, or never issued: only the signature tells.
        const size_t dot = token.find('.');
        if (dot == std::string::npos) {
            return Check::Unknown;
        }
        const std::string claims = token.substr(0, dot);
        const std::string signature = bytesOfHex(token.substr(dot + 1));
        const std::string expected = sign(claims);
        if (signature.size() != expected.size() || CRYPTO_memcmp(signature.data(), expected.data(), expected.size()) != 0) {
            return Check::Unknown;
        }
        std::istringstream fields(bytesOfHex(claims));
        Token earlier{-1, 0, std::string(), ++issued};
        std::string nonce;
        if (!(fields >> earlier.environment >> earlier.expiresAt >> nonce) || fields.get() != '\n' ||
            !std::getline(fields, earlier.loginId) || accounts.count(earlier.loginId) == 0) {
            return Check::Unknown;
        }
        if (earlierExpired) {
            earlier.expiresAt = std::min<int64_t>(earlier.expiresAt, static_cast<int64_t>(std::time(nullptr)));
        }
        if (tokens.size() >= kMaxTokens) {
            tokens.erase(tokens.begin());
        }
        found = tokens.emplace(token, earlier).first;
    }
    if (loginId != nullptr) {
        *loginId = found->second.loginId;
    }
    if (found->second.environment != environment) {
        return Check::Unknown;
    }
    return found->second.expiresAt <= static_cast<int64_t>(std::time(nullptr)) ? Check::Expired : Check::Valid;
}

void OrvSimAccounts::expireAll()
{
    std::lock_guard<std::mutex> lock(mutex);
    const int64_t now = static_cast<int64_t>(std::time(nullptr));
    for (auto& entry : tokens) {
        entry.second.expiresAt = now;
    }
    earlierExpired = true;
}

QJsonArray OrvSimAccounts::overview() const
{
    std::lock_guard<std::mutex> lock(mutex);
    std::map<std::string, std::vector<std::pair<const std::string*, const Token*>>> issuedTo;
    for (const auto& entry : tokens) {
        issuedTo[entry.second.loginId].emplace_back(&entry.first, &entry.second);
    }
    QJsonArray list;
    for (const auto& account : accounts) {
        auto& own = issuedTo[account.first];
        std::sort(own.begin(), own.end(), [](const auto& a, const auto& b) { return a.second->serial > b.second->serial; });
        QJsonArray shown;
        for (size_t i = 0; i < own.size() && i < kTokensShown; ++i) {
            // Enough to tell tokens apart in a log, never enough to use one.
            const std::string& text = *own[i].first;
            QJsonObject token;
            token.insert("token", QString::fromStdString(
                                      text.size() > 16 ? text.substr(0, 4) + "..." + text.substr(text.size() - 4) : "..."));
            token.insert("environment", own[i].second->environment == 0 ? "production" : "test");
            token.insert("expiresAt", static_cast<double>(own[i].second->expiresAt));
            shown.append(token);
        }
        QJsonObject item;
        item.insert("loginid", QString::fromStdString(account.first));
        item.insert("role", QString::fromStdString(account.second.role));
        item.insert("tokenCount", static_cast<int>(own.size()));
        item.insert("tokens", shown);
        list.append(item);
    }
    return list;
}
