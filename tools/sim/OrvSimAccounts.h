#ifndef ORV_SIM_ACCOUNTS_H
#define ORV_SIM_ACCOUNTS_H

#include <QJsonArray>
#include <QJsonObject>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

// Sign-in accounts and the access tokens handed out. A token carries its
// claims (environment, login id, expiry) and an HMAC-SHA256 over them, so a
// simulator started again with the same signing key still accepts the tokens
// it issued before, until they expire; a token it cannot verify is unknown.
// A token is valid only on the environment (production or test) that issued it.
class OrvSimAccounts
{
public:
    enum class Check { Valid, Missing, Unknown, Expired };

    OrvSimAccounts();

    // [{"loginid", "password", "role"?}]; false with a message when malformed.
    bool load(const QJsonArray& accounts, std::string& error);
    void setTokenLifetime(int64_t seconds);
    // The key that signs and verifies tokens; a fresh random one until set.
    void setSigningKey(const std::string& key);
    // Reads the key kept in path, or makes one and keeps it there (mode 0600);
    // false with a message when neither works.
    static bool keptKey(const std::string& path, std::string& key, std::string& error);
    int64_t tokenLifetime() const;

    // The authorisation answer, or false for unknown credentials.
    bool signIn(int environment, const std::string& loginId, const std::string& password, QJsonObject& answer);

    // authorization is the header as received ("Bearer <token>"); a known
    // token's account goes to loginId.
    Check check(int environment, const std::string& authorization, std::string* loginId = nullptr);

    // [{"loginid", "role", "tokenCount", "tokens": [{"token" (shortened),
    // "environment", "expiresAt"}]}], the newest tokens first.
    QJsonArray overview() const;

    // Every token issued so far expires now.
    void expireAll();

private:
    std::string sign(const std::string& claims) const;

    struct Account
    {
        std::string password;
        std::string role;
    };
    struct Token
    {
        int environment;
        int64_t expiresAt;
        std::string loginId;
        uint64_t serial;
    };

    mutable std::mutex mutex;
    std::map<std::string, Account> accounts;
    std::map<std::string, Token> tokens;
    int64_t lifetime = 3600;
    uint64_t issued = 0;
    std::string signingKey;
    bool earlierExpired = false; // expireAll: tokens of earlier runs expire too
};

#endif
