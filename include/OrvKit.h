#ifndef ORVKIT_H
#define ORVKIT_H

/// @file
/// The facade OrvKit, the listener interface the application implements and
/// the preferences that say where the kit sends its requests.

#include <OrvKitExport.h>
#include <OrvKitDef.h>
#include <OrvKitDat.h>

#include <string>

class OrvKitImpl;

/// Receives the kit's events; implemented by the application.
///
/// No callback runs on a thread that called OrvKit: onOpenEnd() and
/// onCloseEnd() run on the kit's worker thread "OrvKitImpl", onMessage() on
/// its event thread. Guard what a callback shares with the application's
/// threads, and never destroy the OrvKit inside a callback (its destructor
/// waits for these threads). The listener belongs to the application and
/// must outlive its registration.
class ORVKIT_EXPORT OrvKitListener
{
public:
    /// The kit never deletes a listener.
    virtual ~OrvKitListener();
    /// The service is up. Runs on the kit's worker thread "OrvKitImpl", just
    /// before the event thread starts: commands are taken from here on.
    virtual void onOpenEnd();
    /// The service has closed. Runs on the worker thread "OrvKitImpl", after
    /// the event thread has ended and the network objects are destroyed.
    virtual void onCloseEnd();
    /// One result message. Runs on the kit's event thread.
    /// @param message uniqueID is the message identifier (OrvKitDef::MSG_*);
    ///        data and size are the payload. data belongs to the kit and is
    ///        freed when this returns: copy what you keep.
    virtual void onMessage(OrvKitDef::CmdData& message);
};

/// Where the kit sends its requests and how it checks the servers.
///
/// Origins are scheme://host[:port] without a path. The defaults are fixed
/// when the library is configured (the CMake cache variables
/// ORVKIT_*_ORIGIN). Each endpoint has a production origin and a test
/// origin; the test origins are used while the signed-in login id is a test
/// account.
class ORVKIT_EXPORT OrvKitPreferences
{
public:
    /// Every origin at the configured default, certificates unchecked.
    OrvKitPreferences();
    /// Plain destructor; virtual so that the class can grow.
    virtual ~OrvKitPreferences();

    std::string authServerOrigin;        ///< Sign-in server (CMD_LOGIN).
    std::string authServerTestOrigin;    ///< Sign-in server for test accounts.
    std::string apiServerOrigin;         ///< Navigation API server (bookmarks, plans, summary, genres).
    std::string apiServerTestOrigin;     ///< Navigation API server for test accounts.
    std::string certificateOrigin;       ///< Device certificate endpoint (CMD_GET_CERTIFICATE).
    std::string certificateTestOrigin;   ///< Device certificate endpoint for test accounts.
    std::string deviceShadowOrigin;      ///< Device-shadow endpoint, mutual TLS (CMD_UPDATE_SHADOW).
    std::string deviceShadowTestOrigin;  ///< Device-shadow endpoint for test accounts.

    /// Off by default: server certificates are then accepted unchecked. When
    /// on, every request verifies the server's certificate and host name
    /// against the system CAs, or against caBundlePath when it is set.
    bool verifyServerCertificates;
    /// PEM file of the CAs to verify against; empty: the system's CAs.
    std::string caBundlePath;
};

/// The facade the application calls.
///
/// Create one, register a listener, open() it and send commands; every answer
/// comes back through the listener. No call blocks on the network. Results
/// are 1 for success and 0 for failure; network and server errors arrive
/// later as result messages. Call open(), close() and sendCommand() from one
/// thread at a time.
class ORVKIT_EXPORT OrvKit
{
public:
    /// Starts the kit's worker thread with the default preferences.
    OrvKit();
    /// Starts the kit's worker thread; the preferences are copied.
    explicit OrvKit(const OrvKitPreferences& preferences);
    /// Closes the kit if open and waits (up to about a second) for its
    /// worker thread. Never call it from inside a listener callback.
    virtual ~OrvKit();

    /// Not copyable: one kit owns one worker thread.
    OrvKit(const OrvKit&) = delete;
    /// Not copyable: one kit owns one worker thread.
    OrvKit& operator=(const OrvKit&) = delete;

    /// Asks the worker to create the service; OrvKitListener::onOpenEnd()
    /// reports it is up (within about 100 ms, once a QCoreApplication
    /// exists). Returns 0 when already open.
    int open();
    /// Asks the service to close without waiting; OrvKitListener::onCloseEnd()
    /// reports the end. Requests in flight are dropped. Returns 1.
    int close();
    /// Registers the listener, for the running service and every later one.
    /// Returns 1.
    int setListener(OrvKitListener* listener);
    /// Removes the registered listener, whatever the argument. Returns 1.
    int removeListener(OrvKitListener* listener);
    /// Queues a command to the event thread. The bytes are copied: the
    /// caller's buffer may be reused at once. Returns 0 while no service
    /// exists (before onOpenEnd()) and for a null or empty command.
    /// @param command uniqueID is the command code (OrvKitDef::CMD_*); data
    ///        and size are the command's bytes, at least one.
    int sendCommand(OrvKitDef::CmdData& command);

private:
    OrvKitImpl* impl;
};

#endif
