#ifndef ORV_SIM_ACCOUNTS_H
#define ORV_SIM_ACCOUNTS_H

#include <QJsonArray>
#include <QJsonObject>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

// Sign-in accounts and the access tokens handed out. A token is valid only
// on the environment (production or test) that issued it.
class OrvSimAccounts
{
public:
    enum class Check { Valid, Missing, Unknown, Expired };

    // [{"loginid", "password", "role"?}]; false with a message when malformed.
    bool load(const QJsonArray& accounts, std::string& error);
    void setTokenLifetime(int64_t seconds);
    int64_t tokenLifetime() const;

    // The authorisation answer, or false for unknown credentials.
    bool signIn(int environment, const std::string& loginId, const std::string& password, QJsonObject& answer);

    // authorization is the header as received ("Bearer <token>"); a known
    // token's account goes to loginId.
    Check check(int environment, const std::string& authorization, std::string* loginId = nullptr) const;

    // [{"loginid", "role", "tokenCount", "tokens": [{"token" (shortened),
    // "environment", "expiresAt"}]}], the newest tokens first.
    QJsonArray overview() const;

    // Every token issued so far expires now.
    void expireAll();

private:
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
};

#endif
