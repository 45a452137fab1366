#ifndef ORVKIT_BENCH_KIT_CLIENT_H
#define ORVKIT_BENCH_KIT_CLIENT_H

#include <OrvKit.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

// An application of the kit as a benchmark needs it: commands go out from
// the calling thread, and that thread blocks until the listener, on the
// kit's event thread, has taken the result message and copied its payload.
class BenchKitClient : public OrvKitListener
{
public:
    explicit BenchKitClient(const OrvKitPreferences& preferences);
    ~BenchKitClient() override;

    OrvKit& kit() { return *orvKit; }
    bool waitOpen(int timeoutMs);
    bool waitClose(int timeoutMs);

    // Sends one command; false when the kit refuses it.
    bool send(unsigned long command, const std::vector<uint8_t>& data);
    // Waits for the next message that is not an acceptance; false on time-out.
    bool waitResult(unsigned long& id, int timeoutMs);
    // send() and waitResult(); true when the result is expectedId.
    bool roundTrip(unsigned long command, const std::vector<uint8_t>& data, unsigned long expectedId,
                   int timeoutMs);
    size_t lastPayloadSize();

    // Where the last roundTrip() spent its time: from send() until the
    // acceptance reached the listener, from there until the result reached
    // the listener, and from there until the waiting thread ran again.
    struct Phases
    {
        std::chrono::steady_clock::duration toAcceptance, toResult, toWaiter;
    };
    Phases lastPhases();

    void onOpenEnd() override;
    void onCloseEnd() override;
    void onMessage(OrvKitDef::CmdData& message) override;

private:
    std::mutex mutex;
    std::condition_variable changed;
    int opens = 0;
    int closes = 0;
    std::set<unsigned long> acceptanceIds;
    std::deque<unsigned long> results;
    std::vector<uint8_t> payload;
    std::chrono::steady_clock::time_point sentAt, acceptedAt, resultAt, wokenAt;
    std::unique_ptr<OrvKit> orvKit;
};

#endif
