#include "BenchKitClient.h"

#include <chrono>

BenchKitClient::BenchKitClient(const OrvKitPreferences& preferences) : orvKit(new OrvKit(preferences))
{
    orvKit->setListener(this);
}

BenchKitClient::~BenchKitClient()
{
    int closesBefore;
    {
        std::lock_guard<std::mutex> lock(mutex);
        closesBefore = closes;
    }
    const bool wasOpen = opens > closesBefore;
    orvKit->close();
    if (wasOpen) {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait_for(lock, std::chrono::seconds(5), [&] { return closes > closesBefore; });
    }
    orvKit.reset();
}

bool BenchKitClient::waitOpen(int timeoutMs)
{
    std::unique_lock<std::mutex> lock(mutex);
    const int wanted = closes + 1;
    return changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return opens >= wanted; });
}

bool BenchKitClient::waitClose(int timeoutMs)
{
    std::unique_lock<std::mutex> lock(mutex);
    const int wanted = opens;
    return changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return closes >= wanted; });
}

bool BenchKitClient::send(unsigned long command, const std::vector<uint8_t>& data)
{
    OrvKitDef::CmdData cmd;
    cmd.data = const_cast<unsigned char*>(data.data());
    cmd.size = static_cast<uint32_t>(data.size());
    cmd.uniqueID = command;
    {
        std::lock_guard<std::mutex> lock(mutex);
        // The certificate has no acceptance: its result carries the id an acceptance would.
        if (command != OrvKitDef::CMD_GET_CERTIFICATE)
            acceptanceIds.insert(OrvKitDef::MSG_ACCEPTED | command);
        sentAt = std::chrono::steady_clock::now();
    }
    return orvKit->sendCommand(cmd) == 1;
}

bool BenchKitClient::waitResult(unsigned long& id, int timeoutMs)
{
    std::unique_lock<std::mutex> lock(mutex);
    if (!changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return !results.empty(); }))
        return false;
    wokenAt = std::chrono::steady_clock::now();
    id = results.front();
    results.pop_front();
    return true;
}

bool BenchKitClient::roundTrip(unsigned long command, const std::vector<uint8_t>& data, unsigned long expectedId,
                               int timeoutMs)
{
    unsigned long id = 0;
    return send(command, data) && waitResult(id, timeoutMs) && id == expectedId;
}

size_t BenchKitClient::lastPayloadSize()
{
    std::lock_guard<std::mutex> lock(mutex);
    return payload.size();
}

BenchKitClient::Phases BenchKitClient::lastPhases()
{
    std::lock_guard<std::mutex> lock(mutex);
    return Phases{acceptedAt - sentAt, resultAt - acceptedAt, wokenAt - resultAt};
}

void BenchKitClient::onOpenEnd()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        ++opens;
    }
    changed.notify_all();
}

void BenchKitClient::onCloseEnd()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        ++closes;
    }
    changed.notify_all();
}

void BenchKitClient::onMessage(OrvKitDef::CmdData& message)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        // An acceptance only says that the request has started.
        if (acceptanceIds.count(message.uniqueID) != 0) {
            acceptedAt = std::chrono::steady_clock::now();
            return;
        }
        resultAt = std::chrono::steady_clock::now();
        payload.assign(message.data, message.data + message.size);
        results.push_back(message.uniqueID);
    }
    changed.notify_all();
}
