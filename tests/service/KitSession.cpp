#include "KitSession.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace {

const int kReadyTimeoutMs = 3000;

} // namespace

KitSession::KitSession(const OrvKitPreferences& preferences)
    : kit(new OrvKit(preferences)), ready(false), closed(false)
{
    kit->setListener(&recorder);
    if (kit->open() != 1 || !recorder.waitForOpen(1, kReadyTimeoutMs))
        return;
    // The service is published just before it announces itself; an unknown
    // code is accepted silently once it can take commands.
    unsigned char probe = 0;
    OrvKitDef::CmdData command{&probe, 1, 0x71};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kReadyTimeoutMs);
    while (std::chrono::steady_clock::now() < deadline) {
        if (kit->sendCommand(command) == 1) {
            ready = true;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

KitSession::~KitSession()
{
    close();
    kit.reset();
}

void KitSession::close()
{
    if (closed)
        return;
    closed = true;
    const int closesBefore = recorder.closeCount();
    if (kit->close() == 1 && ready)
        recorder.waitForClose(closesBefore + 1);
}

bool KitSession::send(unsigned long code, const std::vector<uint8_t>& bytes)
{
    std::vector<uint8_t> copy(bytes);
    OrvKitDef::CmdData command{copy.data(), static_cast<uint32_t>(copy.size()), code};
    return kit->sendCommand(command) == 1;
}

std::vector<KitSession::Message> KitSession::run(unsigned long code, const std::vector<uint8_t>& bytes,
                                                 std::initializer_list<unsigned long> finals, int timeoutMs)
{
    recorder.clear();
    if (!send(code, bytes))
        return std::vector<Message>();
    return waitFor(finals, timeoutMs);
}

std::vector<KitSession::Message> KitSession::waitFor(std::initializer_list<unsigned long> finals, int timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    size_t seen = 0;
    for (;;) {
        const std::vector<Message> heard = recorder.received();
        for (size_t i = seen; i < heard.size(); ++i) {
            if (std::find(finals.begin(), finals.end(), heard[i].id) != finals.end())
                return std::vector<Message>(heard.begin(), heard.begin() + static_cast<long>(i) + 1);
        }
        seen = heard.size();
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !recorder.waitForMessages(seen + 1, static_cast<int>(left.count())))
            return std::vector<Message>();
    }
}
