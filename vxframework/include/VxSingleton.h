#ifndef VX_SINGLETON_H
#define VX_SINGLETON_H
#include "VxSync.h"

// Destroys registered singletons in reverse order of creation when the
// framework shuts down.
class VxSingletonFinalizer
{
public:
    typedef void (*DestroyFunction)();
    static void addDestroyFunction(DestroyFunction function);
};

// Created on first use under a class lock (test, lock, test, create,
// register the destroy function, unlock).
template <class T>
class VxSingleton
{
public:
    static T* GetInstance()
    {
        T* current = __atomic_load_n(&instance, __ATOMIC_ACQUIRE);
        if (current == nullptr) {
            VxSyncGuard guard(lock());
            current = __atomic_load_n(&instance, __ATOMIC_RELAXED);
            if (current == nullptr) {
                current = new T();
                __atomic_store_n(&instance, current, __ATOMIC_RELEASE);
                VxSingletonFinalizer::addDestroyFunction(&VxSingleton<T>::destroy);
            }
        }
        return current;
    }

protected:
    VxSingleton() = default;
    virtual ~VxSingleton() = default;

private:
    static void destroy()
    {
        VxSyncGuard guard(lock());
        T* current = __atomic_exchange_n(&instance, static_cast<T*>(nullptr), __ATOMIC_ACQ_REL);
        delete current;
    }
    static VxSync& lock()
    {
        // Never destroyed: destroy() runs from the exit hook, possibly after
        // function-local statics are gone.
        static VxSync* const sync = new VxSync();
        return *sync;
    }
    static T* instance;
};

template <class T>
T* VxSingleton<T>::instance = nullptr;
#endif
