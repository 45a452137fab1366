#include "OrvSimAccounts.h"

#include <openssl/rand.h>

#include <algorithm>
#include <ctime>
#include <vector>

namespace {

const size_t kMaxTokens = 100000;
const size_t kTokensShown = 5;

std::string randomText(size_t bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string raw(bytes, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char*>(&raw[0]), static_cast<int>(bytes)) != 1) {
        return std::string();
    }
    std::string text;
    for (char c : raw) {
        const unsigned char b = static_cast<unsigned char>(c);
        text += digits[b >> 4];
        text += digits[b & 0x0F];
    }
    return text;
}

} // namespace

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
    const std::string token = randomText(32);
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
                                            std::string* loginId) const
{
    static const std::string scheme = "Bearer ";
    if (authorization.size() <= scheme.size() || authorization.compare(0, scheme.size(), scheme) != 0) {
        return Check::Missing;
    }
    const std::string token = authorization.substr(scheme.size());
    std::lock_guard<std::mutex> lock(mutex);
    auto found = tokens.find(token);
    if (found == tokens.end()) {
        return Check::Unknown;
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
