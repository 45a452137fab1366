#ifndef VX_THREAD_H
#define VX_THREAD_H

#include <VxCallStack.h>
#include <VxDbgOutput.h>
#include <VxEvent.h>
#include <VxString.h>
#include <VxSync.h>
#include <VxThreadMng.h>
#include <VxUncopyable.h>

#include <cstdint>
#include <cstring>
#include <exception>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

// Runs Initialize, MainProc and Finalize of an owner on a POSIX thread of its
// own, registered with the thread registry. WaitExit joins it while a
// watchdog reports, without interfering, a join that takes too long. The
// fixed line numbers are part of the diagnostics that field logs are
// searched for.
template <class T>
class VxThread : private VxUncopyable
{
public:
    static constexpr unsigned long kNoThread = static_cast<unsigned long>(-1);
    static constexpr unsigned int kNoTid = static_cast<unsigned int>(-1);

    explicit VxThread(T* owner)
        : self(this), owner(owner), threadId(kNoThread), tid(kNoTid), registryValue(4000),
          startLock(new VxSync()), exitEvent(new VxEvent()), waitTimeoutMs(0), pendingPriority(-1)
    {
        std::memset(name, 0, sizeof(name));
    }

    virtual ~VxThread()
    {
        delete startLock;
        startLock = nullptr;
        delete exitEvent;
        exitEvent = nullptr;
    }

    void Start(const char* threadName)
    {
        if (loadThreadId() == kNoThread && owner != nullptr) {
            vx_strcpy(name, sizeof(name), threadName ? threadName : "");
            // Held until the handle is stored, so the new thread reads it set.
            startLock->Lock(static_cast<unsigned int>(-1));
            pthread_t handle;
            if (pthread_create(&handle, nullptr, &VxThread::WrappedEntry, &self) != 0) {
                startLock->Unlock();
                VxDbgOutput::DbgPrint(kFile, "Start", 223, kTagError, "VxThread::Start() failed !! [%s]\r\n", name);
                return;
            }
            storeThreadId(static_cast<unsigned long>(handle));
            char kernelName[16];
            std::memset(kernelName, 0, sizeof(kernelName));
            vx_strncpy(kernelName, sizeof(kernelName), name, 15);
            pthread_setname_np(handle, kernelName);
            startLock->Unlock();
        } else {
            VxDbgOutput::DbgPrint(kFile, "Start", 228, kTagError, "error [%s]\n", threadName ? threadName : "");
        }
    }

    // Returns 1 when the thread was joined (or never ran), 0 when the join failed.
    int WaitExit(unsigned int timeoutMs)
    {
        const unsigned long handle = loadThreadId();
        if (handle == kNoThread)
            return 1;
        waitTimeoutMs = timeoutMs;
        // A fresh event for every watchdog: the previous one stays set.
        delete exitEvent;
        exitEvent = new VxEvent();
        pthread_t watchdog;
        int joinResult;
        if (pthread_create(&watchdog, nullptr, &VxThread::WaitEventTimeoutThread, this) != 0) {
            VxDbgOutput::DbgPrint(kFile, "WaitExit", 257, kTagError, "Error, pthread_create failed.\n");
            joinResult = pthread_join(static_cast<pthread_t>(handle), nullptr);
        } else {
            joinResult = pthread_join(static_cast<pthread_t>(handle), nullptr);
            exitEvent->SetEvent();
            pthread_join(watchdog, nullptr);
        }
        VxThreadMng::GetInstance()->unregisterThreadInfo(handle);
        storeThreadId(kNoThread);
        tid = kNoTid;
        if (joinResult != 0) {
            VxDbgOutput::DbgPrintStdErr(kFile, "WaitExit", 276, ", pthread_join() failed !! ret[%d]\n", joinResult);
            return 0;
        }
        return 1;
    }

private:
    friend class VxThreadTest;

    static constexpr const char* kFile = "VxThread.h";
    // The debug output's tag for an error.
    static constexpr int kTagError = 1;

    static void* WrappedEntry(void* arg)
    {
        if (arg == nullptr)
            return nullptr;
        VxThread* thread = *static_cast<VxThread**>(arg);
        thread->startLock->Lock(static_cast<unsigned int>(-1));
        thread->tid = static_cast<unsigned int>(syscall(SYS_gettid));
        const unsigned long handle = thread->loadThreadId();
        int priority = -1;
        if (thread->tid != kNoTid) {
            priority = VxThreadMng::GetInstance()->GetPriority(handle, thread->tid);
        } else {
            VxDbgOutput::DbgPrint(kFile, "GetPriority", 350, kTagError, "invalid thread id\n");
        }
        if (thread->pendingPriority != -1) {
            priority = thread->pendingPriority;
            thread->pendingPriority = -1;
            VxThreadMng::GetInstance()->SetPriority(handle, priority, thread->tid);
        }
        VxThreadMng::GetInstance()->registerThreadInfo(handle, thread->name, priority, thread->registryValue);
        thread->startLock->Unlock();
        thread->Entry();
        return nullptr;
    }

    int Entry()
    {
        if (owner->Initialize() != 0)
            return -1;
        int result = -1;
        try {
            result = static_cast<int>(owner->MainProc());
        } catch (const std::exception& error) {
            reportException(error.what(), 425);
            return -1;
        } catch (...) {
            reportException(nullptr, 430);
            return -1;
        }
        try {
            owner->Finalize();
        } catch (const std::exception& error) {
            reportException(error.what(), 425);
        } catch (...) {
            reportException(nullptr, 430);
        }
        return result;
    }

    void reportException(const char* what, int line)
    {
        if (what != nullptr)
            VxDbgOutput::DbgPrint(kFile, "Entry", line, kTagError, "catch exception. thread name [%s], what [%s]\n", name, what);
        else
            VxDbgOutput::DbgPrint(kFile, "Entry", line, kTagError, "catch exception. thread name [%s]\n", name);
        VxDbgOutput::DbgPrint("#########\n#########\nASSERT Failed! - %s(%d)\n#########\n#########\n", kFile, line + 1);
        VxCallStack::dumpDirectly(-1);
    }

    static void* WaitEventTimeoutThread(void* arg)
    {
        VxThread* thread = static_cast<VxThread*>(arg);
        if (thread->exitEvent->WaitEvent(thread->waitTimeoutMs) == -2) {
            VxDbgOutput::DbgPrint(kFile, "WaitEventTimeoutThread", 297, kTagError,
                                  "Error, VxThread::WaitExit() timed out[%dms]. thread name[%s]\n",
                                  static_cast<int>(thread->waitTimeoutMs), thread->name);
            VxDbgOutput::DbgPrint("#########\n#########\nASSERT Failed! - %s(%d)\n#########\n#########\n", kFile, 298);
            VxCallStack::dumpDirectly(-1);
        }
        return nullptr;
    }

    unsigned long loadThreadId() const { return __atomic_load_n(&threadId, __ATOMIC_ACQUIRE); }
    void storeThreadId(unsigned long value) { __atomic_store_n(&threadId, value, __ATOMIC_RELEASE); }

    VxThread* self;
    T* owner;
    char name[128];
    unsigned long threadId;
    unsigned int tid;
    uint32_t registryValue;
    VxSync* startLock;
    VxEvent* exitEvent;
    uint32_t waitTimeoutMs;
    int32_t pendingPriority; // kept for the platform interface; the kit never sets a priority
};

#endif
