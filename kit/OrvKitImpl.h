#ifndef ORV_KIT_IMPL_H
#define ORV_KIT_IMPL_H

#include <OrvKit.h>

#include <atomic>
#include <cstdint>

template <class T> class VxThread;
class OrvServerService;

// Owns the worker thread, which creates one service per open period. The
// flags and pointers shared with the application's threads are atomics
// without ordering constraints beyond publication: the 100 ms poll bounds
// every delay, and no lock is ever taken on the command path.
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

    bool hasService() const { return service.load() != nullptr; }

private:
    std::atomic<uint8_t> running;
    std::atomic<uint8_t> opened;
    std::atomic<OrvServerService*> service;
    OrvKitPreferences* preferences;
    std::atomic<OrvKitListener*> listener;
    VxThread<OrvKitImpl>* thread;
    std::atomic<int32_t> initialized;
};

#endif
