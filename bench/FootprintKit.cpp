// RSS probe of an application that uses OrvKit: idle once the kit is open,
// then after one folders command answered by the API origin argv[1].
// Prints "idle_kB=" and "request_kB=" lines.
#include <OrvKit.h>
#include <OrvKitCommands.h>

#include <QCoreApplication>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace {

long residentKiB()
{
    FILE* status = std::fopen("/proc/self/status", "r");
    long kib = -1;
    char line[256];
    while (status != nullptr && std::fgets(line, sizeof line, status) != nullptr) {
        if (std::strncmp(line, "VmRSS:", 6) == 0)
            kib = std::atol(line + 6);
    }
    if (status != nullptr)
        std::fclose(status);
    return kib;
}

class ProbeListener : public OrvKitListener
{
public:
    void onOpenEnd() override { note([this] { opened = true; }); }
    void onCloseEnd() override { note([this] { closed = true; }); }
    void onMessage(OrvKitDef::CmdData& message) override
    {
        if (message.uniqueID == OrvKitDef::MSG_FOLDERS_RESULT || message.uniqueID == OrvKitDef::MSG_RESULT_ERROR)
            note([&] { result = message.uniqueID; });
    }
    template <class Done>
    bool wait(Done done)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(5), done);
    }

    bool opened = false;
    bool closed = false;
    unsigned long result = 0;

private:
    template <class Change>
    void note(Change change)
    {
        {
            std::lock_guard<std::mutex> lock(mutex);
            change();
        }
        changed.notify_all();
    }
    std::mutex mutex;
    std::condition_variable changed;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    OrvKitPreferences preferences;
    if (argc >= 2)
        preferences.apiServerOrigin = argv[1];
    ProbeListener listener;
    bool ok = false;
    {
        OrvKit kit(preferences);
        kit.setListener(&listener);
        kit.open();
        if (listener.wait([&] { return listener.opened; })) {
            std::printf("idle_kB=%ld\n", residentKiB());
            std::vector<uint8_t> paging = OrvKitCommands::pageBlock(1, 0, 50);
            OrvKitDef::CmdData command;
            command.data = paging.data();
            command.size = static_cast<uint32_t>(paging.size());
            command.uniqueID = OrvKitDef::CMD_GET_FOLDERS;
            ok = argc >= 2 && kit.sendCommand(command) == 1 && listener.wait([&] { return listener.result != 0; }) &&
                 listener.result == OrvKitDef::MSG_FOLDERS_RESULT;
            if (ok)
                std::printf("request_kB=%ld\n", residentKiB());
        }
        kit.close();
        listener.wait([&] { return listener.closed; });
    }
    return ok ? 0 : 1;
}
