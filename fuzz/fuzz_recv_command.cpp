// Up to four commands of any code with arbitrary bytes, through
// recvCommand of a service that runs its own event loop, as in the library.
// Every origin points at a loopback port that is bound but never listens,
// so each request fails fast with a refused connection and the answers are
// fixed: each command must get exactly its acceptance (or refusal) and its
// one result before the next input starts.
#include "FuzzRecordList.h"
#include "InboxTesting.h"
#include "Loopback.h"

#include "OrvServerServiceProbe.h"

#include <OrvKit.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QMetaObject>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

using namespace OrvKitDef;

namespace {

typedef std::vector<uint8_t> Bytes;
typedef OrvKitInbox::Message Message;

const unsigned long kCodes[] = {
    CMD_LOGIN,       CMD_GET_INFO_SUMMARY, CMD_GET_SPOTS,         CMD_GET_FOLDERS,   CMD_GET_DESTINATIONS,
    CMD_DELETE_DESTINATION, CMD_GET_PLANS, CMD_DELETE_PLANS,      CMD_UPDATE_SHADOW, CMD_GET_CERTIFICATE,
    CMD_GET_SPOT_DETAIL, CMD_GET_PLANS_SUMMARY, CMD_GET_GENRES};
const int kMaxCommands = 4;
// Refused loopback connections settle in milliseconds; this only catches a hang.
const int kSettleLimitMs = 10000;

// Result codes when the connection is refused (or the URL is unusable).
const uint8_t kNetworkFailureLogin = 0xB0;
const uint8_t kNetworkFailure = 0xB1;
const uint8_t kUnclassified = 0xB2;
const uint8_t kDeviceUnclassified = 0x00;

struct Harness
{
    QCoreApplication* application = nullptr;
    OrvKitPreferences preferences;
    OrvKitInbox inbox;
    OrvServerServiceProbe* service = nullptr;
    std::thread worker;
    int reservedPort = -1;
    std::string directory;
};

Harness* harness = nullptr;

// A port that refuses connections and that no one else can take meanwhile:
// bound, never listening.
int reserveClosedPort(int& port)
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        std::perror("reserving a closed port");
        std::abort();
    }
    port = ntohs(address.sin_port);
    return fd;
}

void runOnEventThread(const std::function<void()>& work)
{
    if (!QMetaObject::invokeMethod(harness->service, work, Qt::BlockingQueuedConnection))
        std::abort();
}

// Runs the event thread until no request of the service is in flight.
void settle()
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kSettleLimitMs);
    while (harness->service->setNetworkAccessStatus() != 0) {
        fuzzCheck(std::chrono::steady_clock::now() < deadline, "command settles");
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
}

struct PlainCommand
{
    unsigned long code;
    bool needsData;
    bool hasResult;
};

const PlainCommand* findPlain(unsigned long code)
{
    static const PlainCommand kPlain[] = {
        {CMD_GET_INFO_SUMMARY, false, true}, {CMD_GET_SPOTS, true, true},           {CMD_GET_FOLDERS, true, true},
        {CMD_GET_DESTINATIONS, false, true}, {CMD_DELETE_DESTINATION, true, true},  {CMD_GET_PLANS, true, true},
        {CMD_DELETE_PLANS, false, true},     {CMD_GET_SPOT_DETAIL, false, false},   {CMD_GET_PLANS_SUMMARY, false, false},
        {CMD_GET_GENRES, false, false}};
    for (const PlainCommand& command : kPlain)
        if (command.code == code)
            return &command;
    return nullptr;
}

bool isCode(const Message& message, unsigned long id, std::initializer_list<uint8_t> codes)
{
    if (message.id != id || message.payload.size() != 1)
        return false;
    for (uint8_t code : codes)
        if (message.payload[0] == code)
            return true;
    return false;
}

bool isEmpty(const Message& message, unsigned long id)
{
    return message.id == id && message.payload.empty();
}

// The whole answer to one command against an origin that refuses.
bool answeredExactly(unsigned long code, const Bytes& data, const OrvAccessoryInfo& identity,
                     const std::vector<Message>& got)
{
    const size_t n = got.size();
    if (code == CMD_LOGIN) {
        if (data.empty())
            return n == 1 && isCode(got[0], MSG_LOGIN_ERROR, {REQUEST_ERROR_EMPTY_DATA});
        if (identity.model.empty() || identity.deviceNo.empty())
            return n == 1 && isCode(got[0], MSG_LOGIN_ERROR, {REQUEST_ERROR_NO_REQUEST});
        return n == 2 && isEmpty(got[0], MSG_LOGIN_ACCEPTED) &&
               isCode(got[1], MSG_LOGIN_RESULT_ERROR, {kNetworkFailureLogin});
    }
    if (code == CMD_UPDATE_SHADOW) {
        if (data.empty())
            return n == 1 && isCode(got[0], MSG_REQUEST_ERROR, {REQUEST_ERROR_EMPTY_DATA});
        return n == 2 && isEmpty(got[0], MSG_ACCEPTED | CMD_UPDATE_SHADOW) &&
               isCode(got[1], MSG_RESULT_ERROR, {kDeviceUnclassified});
    }
    if (code == CMD_GET_CERTIFICATE)
        return n == 1 && isCode(got[0], MSG_CERTIFICATE_ERROR, {kDeviceUnclassified});
    const PlainCommand* plain = findPlain(code);
    if (plain == nullptr)
        return n == 0;
    if (plain->needsData && data.empty())
        return n == 1 && isCode(got[0], MSG_REQUEST_ERROR, {REQUEST_ERROR_EMPTY_DATA});
    if (n < 1 || !isEmpty(got[0], MSG_ACCEPTED | code))
        return false;
    if (!plain->hasResult)
        return n == 1;
    // A destination id may make the URL unusable: then no connection is tried.
    return n == 2 && isCode(got[1], MSG_RESULT_ERROR, {kNetworkFailure, kUnclassified});
}

void runCommand(unsigned long code, const Bytes& data)
{
    std::vector<Message> got;
    OrvAccessoryInfo identity;
    runOnEventThread([&] {
        harness->inbox.clear();
        harness->service->recvCommand(data, code);
        identity = harness->service->accessoryInfoView();
        settle();
        got = takeQueued(harness->inbox);
    });
    if (!answeredExactly(code, data, identity, got)) {
        std::fprintf(stderr, "command 0x%lx with %zu bytes answered:\n", code, data.size());
        for (const Message& message : got)
            std::fprintf(stderr, "  0x%lx, %zu bytes%s%02x\n", message.id, message.payload.size(),
                         message.payload.size() == 1 ? ": " : "", message.payload.empty() ? 0 : message.payload[0]);
        fuzzCheck(false, "each command gets exactly its own answer");
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    // Private token store and locks, no proxy: the runs must not meet others.
    char directory[] = "/tmp/orvkit-fuzz-XXXXXX";
    if (mkdtemp(directory) == nullptr)
        std::abort();
    setenv("VX_SAVEFILE_DIR", (std::string(directory) + "/save").c_str(), 1);
    setenv("VX_LOCK_DIR", (std::string(directory) + "/locks").c_str(), 1);
    unsetenv("http_proxy");

    harness = new Harness;
    harness->directory = directory;
    std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(harness->directory, ignored);
    });
    harness->application = new QCoreApplication(*argc, *argv);
    int port = 0;
    harness->reservedPort = reserveClosedPort(port);
    const std::string origin = "https://127.0.0.1:" + std::to_string(port);
    OrvKitPreferences& preferences = harness->preferences;
    for (std::string* each : {&preferences.authServerOrigin, &preferences.authServerTestOrigin,
                              &preferences.apiServerOrigin, &preferences.apiServerTestOrigin,
                              &preferences.certificateOrigin, &preferences.certificateTestOrigin,
                              &preferences.deviceShadowOrigin, &preferences.deviceShadowTestOrigin})
        *each = origin;

    // The service is made and run on a thread of its own, as the worker does.
    // It stays open until the process exits: closing it at exit would leave
    // the TLS library's per-thread state unreachable, a false leak report.
    harness->worker = std::thread([] {
        harness->service = new OrvServerServiceProbe(&harness->preferences, nullptr);
        harness->service->setListener(&harness->inbox);
        harness->service->eventLoop();
        delete harness->service;
    });
    if (!harness->inbox.waitOpened(std::chrono::seconds(10)))
        std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider input(data, size);
    // Each input starts without an identity, whatever the last one left.
    runOnEventThread([] { harness->service->storeAccessoryInfo(Bytes()); });
    for (int i = 0; i < kMaxCommands && input.remaining_bytes() > 0; ++i) {
        const size_t pick = input.ConsumeIntegralInRange<size_t>(0, sizeof kCodes / sizeof kCodes[0]);
        const unsigned long code =
            pick < sizeof kCodes / sizeof kCodes[0] ? kCodes[pick] : input.ConsumeIntegral<uint32_t>();
        const bool last = i + 1 == kMaxCommands;
        const Bytes bytes = last ? input.ConsumeRemainingBytes<uint8_t>()
                                 : input.ConsumeBytes<uint8_t>(input.ConsumeIntegralInRange<size_t>(0, 256));
        runCommand(code, bytes);
    }
    return 0;
}
