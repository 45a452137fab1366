#ifndef ORVKIT_ORIGINS_H
#define ORVKIT_ORIGINS_H

/// @file
/// OrvKitOrigins::load(): fills OrvKitPreferences from the origins file that
/// `orvkit-sim --origins-file FILE` writes. Header-only: it adds no symbol to
/// the library.

#include <OrvKit.h>

#include <fstream>
#include <string>

/// Reading the local simulator's origins file.
namespace OrvKitOrigins {

/// Reads FILE, one `key=value` line per setting: the eight origins under the
/// names of the OrvKitPreferences fields (`authServerOrigin` ...
/// `deviceShadowTestOrigin`), then, when present, `consoleOrigin` (ignored
/// here) and `caCertificateFile`, whose CA then verifies the servers. The
/// simulator writes the file once its ports listen and renames it into place
/// whole, so a file that exists is complete.
/// @return false, with the reason in error, when the file cannot be read or
///         lacks one of the eight origins; the settings found are set anyway.
inline bool load(const std::string& path, OrvKitPreferences& preferences, std::string* error = nullptr)
{
    const struct { const char* key; std::string OrvKitPreferences::*field; } origins[] = {
        {"authServerOrigin", &OrvKitPreferences::authServerOrigin},
        {"authServerTestOrigin", &OrvKitPreferences::authServerTestOrigin},
        {"apiServerOrigin", &OrvKitPreferences::apiServerOrigin},
        {"apiServerTestOrigin", &OrvKitPreferences::apiServerTestOrigin},
        {"certificateOrigin", &OrvKitPreferences::certificateOrigin},
        {"certificateTestOrigin", &OrvKitPreferences::certificateTestOrigin},
        {"deviceShadowOrigin", &OrvKitPreferences::deviceShadowOrigin},
        {"deviceShadowTestOrigin", &OrvKitPreferences::deviceShadowTestOrigin},
    };
    std::ifstream in(path);
    if (!in) {
        if (error != nullptr)
            *error = "cannot read " + path;
        return false;
    }
    unsigned found = 0;
    for (std::string line; std::getline(in, line);) {
        const std::string::size_type equals = line.find('=');
        const std::string key = line.substr(0, equals);
        const std::string value = equals == std::string::npos ? std::string() : line.substr(equals + 1);
        for (unsigned i = 0; i < 8; ++i) {
            if (equals != std::string::npos && key == origins[i].key) {
                preferences.*origins[i].field = value;
                found |= 1U << i;
            }
        }
        if (key == "caCertificateFile" && !value.empty()) {
            preferences.verifyServerCertificates = true;
            preferences.caBundlePath = value;
        }
    }
    for (unsigned i = 0; i < 8; ++i) {
        if ((found & (1U << i)) == 0) {
            if (error != nullptr)
                *error = path + " has no " + origins[i].key;
            return false;
        }
    }
    return true;
}

} // namespace OrvKitOrigins

#endif
