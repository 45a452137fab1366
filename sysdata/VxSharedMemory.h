#ifndef VX_SHARED_MEMORY_H
#define VX_SHARED_MEMORY_H
#include "sysdata/OrvLockGuard.h"

#include <VxDbgOutput.h>
#include <VxSharedSyncObject.h>
#include <VxString.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

// N records of T in POSIX shared memory "/<name>", guarded by the named lock
// of the same name. The first four bytes hold the size of what follows;
// every process that maps the region rewrites it, and the process that
// creates the region zeroes the rest.
template <class T, size_t N>
class VxSharedMemory : public VxSharedSyncObject
{
public:
    static constexpr size_t kSize = sizeof(T) * N;

    explicit VxSharedMemory(const char* name)
        : VxSharedSyncObject(name), fd(-1), address(MAP_FAILED), created(false)
    {
        static_assert(kSize > sizeof(uint32_t), "the region holds a size word and a payload");
        // Held throughout, so that no process maps a region that its creator
        // has not sized yet; without it the region stays unmapped.
        OrvLockGuard<VxSharedSyncObject> guard(*this);
        if (!guard.isLocked())
            return;
        VxString<32> objectName("/");
        objectName.append(name);

        fd = shm_open(objectName.c_str(), O_RDWR | O_CREAT | O_EXCL, 0664);
        if (fd >= 0) {
            created = true;
        } else if (errno == EEXIST) {
            fd = shm_open(objectName.c_str(), O_RDWR | O_CREAT, 0664);
        }
        if (fd < 0) {
            VxDbgOutput::DbgPrintStdErr(kFile, "VxSharedMemory", __LINE__, "shm_open error\n");
            return;
        }
        if (created && ftruncate(fd, static_cast<off_t>(kSize)) != 0)
            VxDbgOutput::DbgPrintStdErr(kFile, "VxSharedMemory", __LINE__, "ftruncate error\n");

        // A region shorter than the record would fault on first access.
        struct stat info;
        if (fstat(fd, &info) != 0 || info.st_size < static_cast<off_t>(kSize)) {
            VxDbgOutput::DbgPrintStdErr(kFile, "VxSharedMemory", __LINE__, "mmap error\n");
            return;
        }
        void* mapped = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        if (mapped == MAP_FAILED) {
            VxDbgOutput::DbgPrintStdErr(kFile, "VxSharedMemory", __LINE__, "mmap error\n");
            return;
        }
        address = mapped;
        const uint32_t payloadSize = static_cast<uint32_t>(kSize - sizeof(uint32_t));
        std::memcpy(address, &payloadSize, sizeof(payloadSize));
        if (created)
            std::memset(static_cast<unsigned char*>(address) + sizeof(uint32_t), 0, payloadSize);
    }

    ~VxSharedMemory() override
    {
        // The region itself stays for the other processes.
        if (address != MAP_FAILED)
            munmap(address, kSize);
        if (fd >= 0)
            close(fd);
    }

    bool isMapped() const { return address != MAP_FAILED; }
    bool isCreated() const { return created; }

protected:
    // Null when unmapped. Access only under a guard of this object that holds the lock.
    T* records() { return isMapped() ? static_cast<T*>(address) : nullptr; }
    unsigned char* bytes() { return isMapped() ? static_cast<unsigned char*>(address) : nullptr; }

private:
    static constexpr const char* kFile = "VxSharedMemory.h";

    int fd;
    void* address;
    bool created;
};
#endif
