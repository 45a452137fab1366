#ifndef ORVKIT_H
#define ORVKIT_H

#include <OrvKitExport.h>
#include <OrvKitDef.h>
#include <OrvKitDat.h>

#include <string>

class OrvKitImpl;

// Implemented by the application. No callback runs on a thread that called
// OrvKit; none may destroy the OrvKit.
class ORVKIT_EXPORT OrvKitListener
{
public:
    virtual ~OrvKitListener();
    // On the library's worker thread "OrvKitImpl", just before its event
    // thread starts: commands are taken from here on.
    virtual void onOpenEnd();
    // On the worker thread "OrvKitImpl", after the event thread has ended.
    virtual void onCloseEnd();
    // On the library's event thread. message.data is owned by the library
    // and freed when this returns.
    virtual void onMessage(OrvKitDef::CmdData& message);
};

// Where the library sends its requests. Origins are scheme://host[:port]
// without a path; the defaults are fixed when the library is configured.
class ORVKIT_EXPORT OrvKitPreferences
{
public:
    OrvKitPreferences();
    virtual ~OrvKitPreferences();

    std::string authServerOrigin;
    std::string authServerTestOrigin;
    std::string apiServerOrigin;
    std::string apiServerTestOrigin;
    std::string certificateOrigin;
    std::string certificateTestOrigin;
    std::string deviceShadowOrigin;
    std::string deviceShadowTestOrigin;

    // Off by default: server certificates are then accepted unchecked. When
    // on, every request verifies the server's certificate and host name
    // against the system CAs, or against caBundlePath when it is set.
    bool verifyServerCertificates;
    std::string caBundlePath;
};

// The facade. Results are 1 for success and 0 for failure; network and
// server errors arrive later as result messages through the listener.
class ORVKIT_EXPORT OrvKit
{
public:
    OrvKit();
    explicit OrvKit(const OrvKitPreferences& preferences);
    virtual ~OrvKit();

    OrvKit(const OrvKit&) = delete;
    OrvKit& operator=(const OrvKit&) = delete;

    int open();
    int close();
    int setListener(OrvKitListener* listener);
    int removeListener(OrvKitListener* listener);
    int sendCommand(OrvKitDef::CmdData& command);

private:
    OrvKitImpl* impl;
};

#endif
