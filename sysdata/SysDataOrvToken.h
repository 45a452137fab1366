#ifndef SYS_DATA_ORV_TOKEN_H
#define SYS_DATA_ORV_TOKEN_H
#include <VxSingleton.h>
#include <VxSync.h>

#include <functional>
#include <string>

class SaveFileAccessMetaText;

// Owner of the access token and its expiry in "OrvToken.ini", and the only
// code that touches that file. Every access takes the lock, opens the file,
// reads or writes and flushes, closes it and unlocks; nothing but the handle
// is kept between accesses. A file that cannot be read counts as one without
// the key; failures are logged to "orvkit.token", never with a value.
class SysDataOrvToken : public VxSingleton<SysDataOrvToken>
{
    friend class VxSingleton<SysDataOrvToken>;

public:
    // The stored token, or "". A missing key is created with the product's
    // default.
    std::string getTokenAccess() const;
    // The stored expiry; a missing or unreadable key is written as 0 and
    // read as 0.
    int getTokenExpiration();
    void storeTokenAccess(const std::string& token);
    void storeTokenExpiration(int expiration);

private:
    friend class SysDataOrvTokenTest;

    SysDataOrvToken() = default;
    ~SysDataOrvToken() override = default;

    // Runs steps on the opened file under the lock; skips them when the lock
    // or the handle cannot be had.
    void access(const std::function<void(SaveFileAccessMetaText& file)>& steps) const;
    static void flush(SaveFileAccessMetaText& file);
    static std::string productDefaultToken();

    mutable VxSync sync;
};
#endif
