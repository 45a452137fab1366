#ifndef SYS_DATA_ORV_TOKEN_H
#define SYS_DATA_ORV_TOKEN_H
#include <SaveFileAccess.h>
#include <VxSingleton.h>
#include <VxSync.h>

#include <string>

// Owner of the access token and its expiry in "OrvToken.ini". Every access
// takes the lock, opens the file, reads or writes and flushes, closes it and
// unlocks; nothing but the handle is kept between accesses.
class SysDataOrvToken : public VxSingleton<SysDataOrvToken>
{
    friend class VxSingleton<SysDataOrvToken>;

public:
    // The stored token, or "". A missing key is created with the product's
    // default.
    std::string getTokenAccess() const;
    // False, leaving out unchanged, when the key is missing or not a number.
    bool readTokenExpiration(int& out) const;
    void storeTokenExpiration(int value);
    void storeTokenAccess(const std::string& token);

    // For a caller that works on the file in several steps: hold lock()
    // from before tokenFile()'s FOpen until after its FClose.
    VxSync& lock();
    SaveFileAccessMetaText* tokenFile();

    static constexpr const char* kTokenAccessKey = "TokenAccess";
    static constexpr const char* kTokenExpirationKey = "TokenExpiration";

private:
    SysDataOrvToken() = default;
    ~SysDataOrvToken() override = default;

    static std::string productDefaultToken();

    mutable VxSync sync;
};
#endif
