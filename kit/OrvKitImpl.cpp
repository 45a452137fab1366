#include "kit/OrvKitImpl.h"

#include "kit/VxThread.h"
#include "service/OrvServerService.h"
#include "util/OrvLogging.h"

#include <QCoreApplication>

#include <unistd.h>
#include <vector>

OrvKitImpl::OrvKitImpl(const OrvKitPreferences& prefs)
    : running(1), opened(0), service(nullptr), preferences(new OrvKitPreferences(prefs)),
      listener(nullptr), thread(nullptr), initialized(0)
{
    thread = new VxThread<OrvKitImpl>(this);
    thread->Start("OrvKitImpl");
}

OrvKitImpl::~OrvKitImpl()
{
    running = 0;
    close();
    thread->WaitExit(kWorkerExitWaitMs);
    delete thread;
    thread = nullptr;
    delete preferences;
    preferences = nullptr;
}

int OrvKitImpl::open()
{
    uint8_t expected = 0;
    if (!opened.compare_exchange_strong(expected, 1)) {
        qCDebug(lcOrvKit) << "open: refused, already open";
        return 0;
    }
    qCDebug(lcOrvKit) << "open: requested";
    return 1;
}

int OrvKitImpl::close()
{
    opened = 0;
    std::lock_guard<std::mutex> guard(serviceLock);
    if (OrvServerService* current = service.load())
        current->close();
    return 1;
}

int OrvKitImpl::setListener(OrvKitListener* newListener)
{
    std::lock_guard<std::mutex> guard(serviceLock);
    if (OrvServerService* current = service.load())
        current->setListener(newListener);
    listener = newListener;
    return 1;
}

int OrvKitImpl::removeListener(OrvKitListener* /*ignored on purpose: any pointer silences*/)
{
    std::lock_guard<std::mutex> guard(serviceLock);
    if (OrvServerService* current = service.load())
        current->removeListener(nullptr);
    listener = nullptr;
    return 1;
}

int OrvKitImpl::sendCommand(OrvKitDef::CmdData& command)
{
    if (command.data == nullptr || command.size == 0 || service.load() == nullptr)
        return 0;
    std::vector<uint8_t> bytes(command.data, command.data + command.size);
    std::lock_guard<std::mutex> guard(serviceLock);
    OrvServerService* current = service.load();
    if (current == nullptr || !current->acceptsCommands())
        return 0;
    current->sendCommand(bytes, command.uniqueID);
    return 1;
}

unsigned int OrvKitImpl::Initialize()
{
    initialized = 1;
    return 0;
}

void OrvKitImpl::Finalize()
{
    initialized = 0;
}

unsigned int OrvKitImpl::MainProc()
{
    if (running == 0)
        return 0;
    bool toldWaiting = false;
    for (;;) {
        if (opened == 1 && QCoreApplication::instance() == nullptr && !toldWaiting) {
            qCDebug(lcOrvKit) << "open: waiting for a Qt application object";
            toldWaiting = true;
        }
        if (opened == 1 && QCoreApplication::instance() != nullptr) {
            toldWaiting = false;
            qCDebug(lcOrvKit) << "open: creating the service";
            OrvServerService* created = new OrvServerService(preferences, nullptr);
            {
                std::lock_guard<std::mutex> guard(serviceLock);
                created->setListener(listener);
                service = created;
            }
            // A close() that ran before the service was published saw no
            // service; close it here so the destructor never waits for ever.
            if (opened == 0)
                created->close();
            created->eventLoop();
            {
                std::lock_guard<std::mutex> guard(serviceLock);
                service = nullptr;
            }
            delete created;
            qCDebug(lcOrvKit) << "close: service deleted";
            if (running == 1)
                continue;
            return 0;
        }
        if (running == 0)
            return 0;
        usleep(kOpenPollMs * 1000);
    }
}
