// Many commands through OrvKit against a server that fails at random: 5xx
// and 4xx answers, bodies that are not JSON, cut connections, delays,
// redirects, and (through the test origins, which point at a plain TCP
// listener) failed TLS handshakes. Each command must get exactly the
// answers that the library owes it: its acceptance or refusal, and one
// result per request started, with the body or result code that the
// server's answer calls for. Commands go out in waves of different kinds,
// so that requests overlap and the GET pool runs full now and then.
//
// ORVKIT_SOAK_COMMANDS sets how many commands are sent (default 300);
// from 5000 on the run also checks that the resident memory stays flat.
// ORVKIT_SOAK_SEED picks another random sequence.
#include "SoakCommands.h"
#include "SoakFaultPlan.h"
#include "RecordingListener.h"
#include "SoakWave.h"
#include "TestHttpsServer.h"
#include "TestPki.h"

#include <OrvKit.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <unistd.h>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define ORVKIT_SOAK_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORVKIT_SOAK_SANITIZED 1
#endif
#endif

namespace {

using namespace OrvKitDef;
using namespace SoakCommands;
using Message = RecordingListener::Message;
using Bytes = std::vector<uint8_t>;

const int kDefaultCommands = 300;
const int kLongRunCommands = 5000;
const unsigned int kDefaultSeed = 20240615;
const int kMaxWaveSize = 6;
const int kReopenEveryWaves = 40;
const int kWaveTimeoutMs = 15000;
// Growth of the resident set allowed between the end of the warm-up (the
// first tenth of the run) and the end, in the long run without sanitizers.
const long kRssGrowthLimitKb = 24 * 1024;

int environmentNumber(const char* name, int fallback)
{
    const char* text = std::getenv(name);
    return text != nullptr && *text != '\0' ? std::atoi(text) : fallback;
}

long residentKb()
{
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

std::string describe(const Message& message)
{
    char text[80];
    std::snprintf(text, sizeof text, "0x%lx, %zu bytes", message.id, message.payload.size());
    std::string out = text;
    if (message.payload.size() == 1) {
        std::snprintf(text, sizeof text, " [0x%02x]", message.payload[0]);
        out += text;
    }
    return out;
}

bool lessMessage(const Message& a, const Message& b)
{
    return a.id != b.id ? a.id < b.id : a.payload < b.payload;
}

// A plain TCP listener that never speaks TLS: each connection is closed at
// once, after a line of plain HTTP, or after reading what the client sent.
class ClosingTcpListener
{
public:
    ~ClosingTcpListener()
    {
        stopping = true;
        if (thread.joinable())
            thread.join();
        if (fd >= 0)
            close(fd);
    }

    bool start()
    {
        fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(fd, 64) != 0 ||
            getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            return false;
        port = ntohs(address.sin_port);
        thread = std::thread([this] { serve(); });
        return true;
    }
    std::string origin() const { return "https://127.0.0.1:" + std::to_string(port); }
    int connections() const { return accepted; }

private:
    void serve()
    {
        static const char kPlainAnswer[] = "HTTP/1.1 400 Bad Request\r\nConnection: close\r\n\r\n";
        while (!stopping) {
            pollfd waiting{fd, POLLIN, 0};
            const int client = poll(&waiting, 1, 20) > 0 ? accept(fd, nullptr, nullptr) : -1;
            if (client < 0)
                continue;
            const int turn = accepted++ % 3;
            pollfd reading{client, POLLIN, 0};
            char hello[512];
            if (turn == 1)
                (void)!write(client, kPlainAnswer, sizeof kPlainAnswer - 1);
            else if (turn == 2 && poll(&reading, 1, 200) > 0)
                (void)!read(client, hello, sizeof hello);
            close(client);
        }
    }

    int fd = -1;
    int port = 0;
    std::atomic<bool> stopping{false};
    std::atomic<int> accepted{0};
    std::thread thread;
};

// What the soak believes the service holds; the service is the one to
// prove it right.
struct Mirror
{
    bool testOrigin = false;
    bool certificatesHeld = false;
};

class FaultSoak
{
public:
    FaultSoak(unsigned int seed, int commandCount)
        : random(seed), plan(seed + 1), target(commandCount), server(TestHttpsServer::tls(pki))
    {
    }

    void run();

private:
    void openKit();
    void closeKit();
    Bytes bytesFor(int command, SoakWave::Planned& planned);
    std::vector<int> pickWave();
    bool runWave(std::vector<int> commands);
    void tryRefusedSends();
    bool check(const SoakWave& wave, const std::vector<Message>& heard);
    void report(double seconds, long rssStart, long rssEnd);

    std::mt19937 random;
    SoakFaultPlan plan;
    int target;
    TestPki pki;
    TestHttpsServer server;
    ClosingTcpListener closer;
    RecordingListener listener;
    std::unique_ptr<OrvKit> kit;
    int opens = 0;
    Mirror mirror;

    int sent = 0;
    int waves = 0;
    int testOriginCommands = 0;
    int poolRefusals = 0;
    int refusedSends = 0;
    int unseenRequests = 0;
};

void FaultSoak::openKit()
{
    OrvKitPreferences preferences;
    preferences.authServerOrigin = preferences.apiServerOrigin = server.origin();
    preferences.certificateOrigin = preferences.deviceShadowOrigin = server.origin();
    preferences.authServerTestOrigin = preferences.apiServerTestOrigin = closer.origin();
    preferences.certificateTestOrigin = preferences.deviceShadowTestOrigin = closer.origin();
    kit.reset(new OrvKit(preferences));
    kit->setListener(&listener);
    ASSERT_EQ(kit->open(), 1);
    ++opens;
    ASSERT_TRUE(listener.waitForOpen(opens));
    // Unknown codes are taken without an answer: the first one taken shows
    // that the service receives commands.
    uint8_t nothing = 0;
    CmdData probe{&nothing, 1, 0x71};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (kit->sendCommand(probe) != 1) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "service never took commands";
        usleep(1000);
    }
    mirror = Mirror();
}

void FaultSoak::closeKit()
{
    if (!kit)
        return;
    kit->close();
    EXPECT_TRUE(listener.waitForClose(opens));
    kit.reset();
}

Bytes FaultSoak::bytesFor(int command, SoakWave::Planned& planned)
{
    const auto draw = [this](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
    switch (command) {
    case Login: {
        const int shape = draw(0, 19);
        const std::string serial = std::to_string(draw(0, 9999));
        std::string loginId = shape < 3 ? "QahvomTPsk" + std::to_string(10 + draw(0, 89)) : "driver" + serial;
        Bytes block{static_cast<uint8_t>(draw(0, 255))};
        std::vector<std::string> texts{"NX-" + serial, "D" + serial, loginId, "pw-" + serial};
        if (shape >= 15)
            texts.resize(static_cast<size_t>(shape - 15)); // 0 to 3 texts: the block ends early
        else if (shape == 14)
            texts[1].clear(); // an empty device number
        for (const std::string& text : texts) {
            block.insert(block.end(), text.begin(), text.end());
            block.push_back(0);
        }
        planned.loginComplete = texts.size() == 4 && !texts[1].empty();
        // The identity is replaced by every login, and wiped by an incomplete one.
        mirror.testOrigin = planned.loginComplete && shape < 3;
        return block;
    }
    case Spots:
    case Folders: {
        Bytes words;
        const int length = draw(0, 4) == 0 ? draw(1, 7) : 8;
        for (int i = 0; i < length; ++i)
            words.push_back(static_cast<uint8_t>(i == 6 || i == 7 ? (draw(0, 1) ? 0xFF : 0x00) : draw(0, 255)));
        return words;
    }
    case Plans:
        return draw(0, 1) ? Bytes{0xFF, 0xFF} : Bytes{0x00, static_cast<uint8_t>(draw(0, 255))};
    case DeleteDestination: {
        const std::string id = "D-" + std::to_string(draw(1000, 9999));
        return Bytes(id.begin(), id.end());
    }
    case Shadow: {
        OrvKitDat::CarPositions position;
        position.model = "ignored";
        position.lon = 139.0 + draw(0, 100000) / 100000.0;
        position.lat = 35.0 + draw(0, 100000) / 100000.0;
        position.measuredAt = "2024-06-15T00:30:00Z";
        position.direction = static_cast<uint32_t>(draw(0, 359));
        position.speed = static_cast<uint32_t>(draw(0, 120));
        position.accOff = draw(0, 9) == 0;
        VxSerialization::Archive archive;
        position.serialize(archive);
        return archive.bytes();
    }
    default:
        // The facade refuses empty commands; these commands ignore their bytes.
        return Bytes{static_cast<uint8_t>(draw(0, 255))};
    }
}

std::vector<int> FaultSoak::pickWave()
{
    std::vector<int> all;
    for (int i = 0; i < Count; ++i)
        all.push_back(i);
    std::shuffle(all.begin(), all.end(), random);
    const int size = std::uniform_int_distribution<int>(1, kMaxWaveSize)(random);
    std::vector<int> wave(all.begin(), all.begin() + size);
    // The certificate command may answer nothing at once, so it goes first,
    // where nothing can be confused with its refusal; and the last command
    // must owe an answer that ends the wave.
    const auto certificate = std::find(wave.begin(), wave.end(), static_cast<int>(Certificate));
    if (certificate != wave.end())
        std::rotate(wave.begin(), certificate, certificate + 1);
    const auto endsWave = [](int c) { return command(c).successStatus != 0 && c != Certificate; };
    if (!endsWave(wave.back())) {
        const auto other = std::find_if(wave.begin(), wave.end(), endsWave);
        if (other != wave.end())
            std::iter_swap(other, wave.end() - 1);
        else
            wave.push_back(*std::find_if(all.begin(), all.end(), endsWave));
    }
    return wave;
}

void FaultSoak::tryRefusedSends()
{
    // Null and empty commands never reach the service.
    uint8_t byte = 0;
    CmdData nullData{nullptr, 4, CMD_GET_SPOTS};
    CmdData empty{&byte, 0, CMD_LOGIN};
    EXPECT_EQ(kit->sendCommand(nullData), 0);
    EXPECT_EQ(kit->sendCommand(empty), 0);
    refusedSends += 2;
}

bool FaultSoak::runWave(std::vector<int> commands)
{
    std::vector<SoakWave::Planned> planned;
    std::vector<Bytes> payloads;
    for (int c : commands) {
        SoakWave::Planned entry{c, false, false, mirror.certificatesHeld};
        payloads.push_back(bytesFor(c, entry));
        // A login takes effect for itself and every command after it.
        entry.testOrigin = mirror.testOrigin;
        testOriginCommands += entry.testOrigin ? 1 : 0;
        planned.push_back(entry);
    }
    SoakWave wave(planned);
    plan.clearLog();
    server.clearRequests();

    for (size_t i = 0; i < planned.size(); ++i) {
        CmdData data{payloads[i].data(), static_cast<uint32_t>(payloads[i].size()), command(planned[i].command).code};
        if (kit->sendCommand(data) != 1) {
            ADD_FAILURE() << "the kit refused " << command(planned[i].command).name;
            return false;
        }
        ++sent;
    }
    if (std::uniform_int_distribution<int>(0, 19)(random) == 0)
        tryRefusedSends();

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kWaveTimeoutMs);
    std::vector<Message> heard;
    std::string error;
    for (;;) {
        heard = listener.received();
        if (!wave.read(heard, error)) {
            ADD_FAILURE() << "wave " << waves << ": " << error;
            return false;
        }
        if (wave.settled())
            break;
        const int left = static_cast<int>(
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count());
        if (left <= 0 || !listener.waitForMessages(heard.size() + 1, left)) {
            std::string sentNames;
            for (const SoakWave::Planned& p : planned) {
                sentNames += std::string(" ") + command(p.command).name;
                SoakFaultPlan::Answer answer;
                if (plan.lastAnswer(p.command, answer))
                    sentNames += std::string(" (") + SoakFaultPlan::name(answer.fault) + ")";
            }
            std::string heardText;
            for (const Message& m : heard)
                heardText += "\n  " + describe(m);
            for (const TestHttpsServer::Request& request : server.requests())
                heardText += "\n  server saw " + request.method + " " + request.path;
            ADD_FAILURE() << "wave " << waves << " never settled; sent" << sentNames << "; heard:" << heardText;
            return false;
        }
    }
    listener.drop(heard.size());
    ++waves;
    poolRefusals += wave.poolRefusals();
    return check(wave, heard);
}

bool FaultSoak::check(const SoakWave& wave, const std::vector<Message>& heard)
{
    std::vector<Message> expected;
    for (size_t index : wave.owing()) {
        const SoakWave::Planned& p = wave.planned()[index];
        if (p.testOrigin) {
            expected.push_back(SoakFaultPlan::networkFailure(p.command));
            continue;
        }
        SoakFaultPlan::Answer answer;
        if (plan.lastAnswer(p.command, answer)) {
            expected.push_back(SoakFaultPlan::expected(p.command, answer));
        } else {
            // Sent on a kept-alive connection just as the server closed it:
            // the server never saw it, and the transport failure is the answer.
            expected.push_back(SoakFaultPlan::networkFailure(p.command));
            ++unseenRequests;
        }
    }
    std::vector<Message> got = wave.results();
    std::sort(expected.begin(), expected.end(), lessMessage);
    std::sort(got.begin(), got.end(), lessMessage);
    if (!std::equal(expected.begin(), expected.end(), got.begin(), got.end(),
                    [](const Message& a, const Message& b) { return a.id == b.id && a.payload == b.payload; })) {
        std::string text;
        for (const Message& m : expected)
            text += "\n  expected " + describe(m);
        for (const Message& m : got)
            text += "\n  got      " + describe(m);
        for (const SoakWave::Planned& p : wave.planned())
            text += std::string("\n  sent ") + command(p.command).name + (p.testOrigin ? " (test origin)" : "");
        ADD_FAILURE() << "wave " << waves << ": results differ (" << heard.size() << " messages)" << text;
        return false;
    }
    // Results that change what the service holds, in the order they came.
    for (const Message& m : wave.results()) {
        if (m.id == MSG_LOGIN_RESULT)
            mirror.certificatesHeld = false;
        else if (m.id == MSG_CERTIFICATE_RESULT)
            mirror.certificatesHeld = true;
    }
    return true;
}

void FaultSoak::run()
{
    ASSERT_TRUE(pki.isValid());
    server.route("*", "/", [this](const TestHttpsServer::Request& request) { return plan.answer(request); },
                 TestHttpsServer::Match::Prefix);
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(closer.start());
    openKit();
    if (::testing::Test::HasFatalFailure())
        return;

    const bool longRun = target >= kLongRunCommands;
    const auto start = std::chrono::steady_clock::now();
    long rssStart = 0;
    while (sent < target) {
        if (waves > 0 && waves % kReopenEveryWaves == 0) {
            // A fresh service forgets the identity and the certificates.
            closeKit();
            openKit();
            if (::testing::Test::HasFatalFailure())
                return;
        }
        if (rssStart == 0 && sent >= target / 10)
            rssStart = residentKb();
        if (!runWave(pickWave()))
            break;
    }
    // Nothing may trail behind the last wave: a late message would spoil this
    // last one, and none may be left after it.
    if (!::testing::Test::HasFailure() && runWave({Spots})) {
        const std::vector<Message> stray = listener.received();
        EXPECT_TRUE(stray.empty()) << stray.size() << " messages after the last wave, first " << describe(stray.front());
    }
    closeKit();
    const long rssEnd = residentKb();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    report(seconds, rssStart, rssEnd);

    EXPECT_EQ(plan.unknownRequests(), 0) << "requests that no command sends";
    EXPECT_GE(sent, target);
#ifndef ORVKIT_SOAK_SANITIZED
    if (longRun) {
        EXPECT_LE(rssEnd - rssStart, kRssGrowthLimitKb) << "resident memory grew from " << rssStart << " kB";
    }
#else
    (void)longRun;
#endif
}

void FaultSoak::report(double seconds, long rssStart, long rssEnd)
{
    std::printf("soak: %d commands in %d waves, %.1f s; %d through the failing TLS origin (%d connections), "
                "%d pool refusals, %d refused sends, %d requests lost before the server, %d open periods; "
                "resident memory %ld kB after warm-up, %ld kB at the end\nsoak: server answers:",
                sent, waves, seconds, testOriginCommands, closer.connections(), poolRefusals, refusedSends,
                unseenRequests, opens, rssStart, rssEnd);
    const std::vector<int> counts = plan.faultCounts();
    for (int i = 0; i < SoakFaultPlan::FaultCount; ++i)
        std::printf(" %s %d", SoakFaultPlan::name(static_cast<SoakFaultPlan::Fault>(i)), counts[static_cast<size_t>(i)]);
    std::printf("\n");
}

} // namespace

TEST(FaultSoak, EveryCommandGetsExactlyItsAnswers)
{
    // Every run starts without a stored token.
    const char* directory = std::getenv("VX_SAVEFILE_DIR");
    std::remove((std::string(directory != nullptr ? directory : ".") + "/OrvToken.ini").c_str());

    const unsigned int seed = static_cast<unsigned int>(environmentNumber("ORVKIT_SOAK_SEED", kDefaultSeed));
    const int commands = environmentNumber("ORVKIT_SOAK_COMMANDS", kDefaultCommands);
    std::printf("soak: seed %u, %d commands\n", seed, commands);
    FaultSoak soak(seed, commands);
    soak.run();
}
