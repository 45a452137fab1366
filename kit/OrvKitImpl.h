#ifndef ORV_KIT_IMPL_H
#define ORV_KIT_IMPL_H

#include <OrvKit.h>

#include <atomic>
#include <cstdint>
#include <mutex>

template <class T> class VxThread;
class OrvServerService;

// Owns the worker thread, which creates one service per open period. The
// flags are atomics polled by the worker. serviceLock is held only for
// moments: by the worker while it publishes or withdraws a service, and by
// the facade while it hands something to that service, so that a call never
// reaches a service being deleted and a listener set while a service is
// being created is never lost. It is never held across a wait.
class OrvKitImpl
{
public:
    explicit OrvKitImpl(const OrvKitPreferences& preferences);
    virtual ~OrvKitImpl();

    int open();
    int close();
    int setListener(OrvKitListener* listener);
    int removeListener(OrvKitListener* listener);
    int sendCommand(OrvKitDef::CmdData& command);

    // Worker thread hooks.
    unsigned int Initialize();
    unsigned int MainProc();
    void Finalize();

private:
    // How long the destructor waits for the worker, and how often the worker
    // looks for an open request and a Qt application object.
    static constexpr int kWorkerExitWaitMs = 1000;
    static constexpr int kOpenPollMs = 100;

    std::atomic<uint8_t> running;
    std::atomic<uint8_t> opened;
    std::atomic<OrvServerService*> service;
    OrvKitPreferences* preferences;
    OrvKitListener* listener;
    VxThread<OrvKitImpl>* thread;
    std::atomic<int32_t> initialized; // kept for the platform interface; the kit does not read it
    std::mutex serviceLock;
};

#endif
