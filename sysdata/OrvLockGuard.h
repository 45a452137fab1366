#ifndef ORV_LOCK_GUARD_H
#define ORV_LOCK_GUARD_H
// Holds a framework lock (VxSync, VxSharedSyncObject) for its scope, waiting
// for ever. Code under the guard runs only when isLocked(); the destructor
// releases only a lock that was taken.
template <class Lockable>
class OrvLockGuard
{
public:
    explicit OrvLockGuard(Lockable& lockable)
        : lockable(lockable), locked(lockable.Lock(static_cast<unsigned int>(-1)) == 0)
    {
    }
    ~OrvLockGuard()
    {
        if (locked)
            lockable.Unlock();
    }
    OrvLockGuard(const OrvLockGuard&) = delete;
    OrvLockGuard& operator=(const OrvLockGuard&) = delete;

    bool isLocked() const { return locked; }

private:
    Lockable& lockable;
    const bool locked;
};
#endif
