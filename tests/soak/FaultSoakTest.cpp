// Many commands through OrvKit against a server that fails at random
// (SoakPlan.h); the test origins point at a TLS 1.3-only server, so that
// after a login with a test id every handshake fails. Commands go out in
// waves of different kinds, so that requests overlap and the pools run full
// now and then. Each command must get exactly its immediate answer and, per
// request started, one result with the body or code that the server's answer
// calls for. ORVKIT_SOAK_COMMANDS (default 300) and ORVKIT_SOAK_SEED set the run.
#include "SoakPlan.h"
#include "TestPki.h"

#include <OrvKit.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <tuple>

namespace {

using namespace OrvKitDef;
using namespace Soak;
using Bytes = std::vector<uint8_t>;

std::string text(const std::vector<Message>& messages)
{
    std::string out;
    for (const Message& m : messages)
        out += " " + std::to_string(m.id) + "/" +
               (m.payload.size() == 1 ? "[" + std::to_string(m.payload[0]) + "]" : std::to_string(m.payload.size()));
    return out;
}

bool is(const Message& m, unsigned long id, int code = -1)
{
    return m.id == id && (code < 0 ? m.payload.empty() : m.payload == Bytes(1, static_cast<uint8_t>(code)));
}

bool isResult(const Message& m)
{
    // Empty, these are immediate answers: token still valid, certificate already held.
    if ((m.id == MSG_LOGIN_RESULT || m.id == MSG_CERTIFICATE_RESULT) && m.payload.empty())
        return false;
    for (int kind = 0; kind < KindCount; ++kind)
        if (command(kind).successId != 0 && (m.id == command(kind).successId || m.id == command(kind).failureId))
            return true;
    return false;
}

class FaultSoak
{
public:
    FaultSoak(unsigned int seed, int commands) : random(seed), plan(seed + 1), target(commands) {}
    void run();

private:
    void openKit();
    bool runWave(const std::vector<int>& wave);
    Bytes payload(int kind, bool& refused);
    int draw(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }

    std::mt19937 random;
    FaultPlan plan;
    int target;
    TestPki pki;
    TestHttpsServer server{TestHttpsServer::tls(pki)};
    TestHttpsServer failing{[this] { TestHttpsServer::Config c = TestHttpsServer::tls(pki); c.tls13Only = true; return c; }()};
    RecordingListener listener;
    std::unique_ptr<OrvKit> kit;
    int opens = 0, sent = 0, waves = 0, poolRefusals = 0;
};

void FaultSoak::openKit()
{
    if (kit) { // a fresh service forgets the identity and the certificates
        kit->close();
        ASSERT_TRUE(listener.waitForClose(opens));
    }
    OrvKitPreferences p;
    p.authServerOrigin = p.apiServerOrigin = p.certificateOrigin = p.deviceShadowOrigin = server.origin();
    p.authServerTestOrigin = p.apiServerTestOrigin = p.certificateTestOrigin = p.deviceShadowTestOrigin = failing.origin();
    kit.reset(new OrvKit(p));
    kit->setListener(&listener);
    ASSERT_EQ(kit->open(), 1);
    ASSERT_TRUE(listener.waitForOpen(++opens));
}

Bytes FaultSoak::payload(int kind, bool& refused)
{
    const std::string n = std::to_string(draw(1000, 9999));
    refused = false;
    if (kind == Login) {
        // 0-2: a test id; 14: no device number; 15-19: the block ends after 0 to 4 texts.
        const int shape = draw(0, 19);
        std::vector<std::string> texts{"NX-" + n, shape == 14 ? "" : "D" + n,
                                       shape < 3 ? "QahvomTPsk" + n.substr(2) : "driver" + n, "pw-" + n};
        texts.resize(shape >= 15 ? static_cast<size_t>(shape - 15) : 4);
        refused = texts.size() < 4 || texts[1].empty();
        Bytes block{static_cast<uint8_t>(draw(0, 255))};
        for (const std::string& t : texts)
            block.insert(block.end(), t.c_str(), t.c_str() + t.size() + 1);
        return block;
    }
    if (kind == DeleteDestination)
        return Bytes(n.begin(), n.end());
    // Words of the spot, folder and plan queries, short or whole, with and
    // without the 0xFFFF that switches a part off; a position report that may
    // not decode; ignored by the other kinds.
    Bytes bytes(static_cast<size_t>(draw(0, 4) == 0 ? draw(1, 7) : 8));
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(draw(0, 1) ? 0xFF : draw(0, 255));
    return bytes;
}

// Immediate answers come in sending order: an acceptance, which a full pool's
// refusal may follow; a bare refusal of an incomplete login; for the
// certificate an empty result, a refusal or nothing. Results come in any
// order, each after its command returned; a wave owes one per request started.
bool FaultSoak::runWave(const std::vector<int>& wave)
{
    plan.clear();
    std::vector<bool> refused;
    std::string sentText;
    for (int kind : wave) {
        bool refuse = false;
        Bytes bytes = payload(kind, refuse);
        refused.push_back(refuse);
        sentText += " " + std::to_string(command(kind).code);
        CmdData data{bytes.data(), static_cast<uint32_t>(bytes.size()), command(kind).code};
        ++sent;
        if (kit->sendCommand(data) != 1) {
            ADD_FAILURE() << "the kit refused command" << sentText;
            return false;
        }
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    std::vector<Message> heard, results;
    std::vector<int> started;
    size_t seen = 0, next = 0;
    bool accepted = false;
    const auto fail = [&](const char* why) {
        ADD_FAILURE() << "wave " << waves << " of commands" << sentText << ": " << why << "; heard" << text(heard);
        return false;
    };
    const auto start = [&] {
        if (command(wave[next]).successId != 0)
            started.push_back(wave[next]);
        ++next;
        accepted = false;
    };
    while (next < wave.size() || accepted || results.size() < started.size()) {
        if (seen == heard.size()) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0 || !listener.waitForMessages(seen + 1, static_cast<int>(left.count())))
                return fail("never settled");
            heard = listener.received();
            continue;
        }
        const Message& m = heard[seen++];
        if (isResult(m)) {
            if (accepted || (next < wave.size() && wave[next] == Certificate))
                start();
            results.push_back(m);
            if (results.size() > started.size())
                return fail("more results than requests started");
            continue;
        }
        for (;;) {
            if (next == wave.size())
                return fail("an answer that no command of the wave is owed");
            const int kind = wave[next];
            const bool refusal = is(m, kind == Login ? MSG_LOGIN_ERROR : MSG_REQUEST_ERROR, REQUEST_ERROR_NO_REQUEST);
            if (accepted || kind == Certificate) {
                if (!refusal && (accepted || !is(m, MSG_CERTIFICATE_RESULT))) {
                    start();
                    continue;
                }
                poolRefusals += refusal ? 1 : 0;
                ++next;
                accepted = false;
            } else if (refused[next] ? refusal : is(m, kind == Login ? MSG_LOGIN_ACCEPTED : MSG_ACCEPTED | command(kind).code)) {
                accepted = !refused[next];
                next += refused[next] ? 1 : 0;
            } else {
                return fail(refused[next] ? "expected the refusal of an incomplete login" : "expected the acceptance");
            }
            break;
        }
    }
    listener.drop(seen); // a late message stays, and spoils the next wave
    ++waves;
    std::vector<Message> expected;
    for (int kind : started)
        expected.push_back(plan.owed(kind));
    const auto before = [](const Message& a, const Message& b) { return std::tie(a.id, a.payload) < std::tie(b.id, b.payload); };
    std::sort(expected.begin(), expected.end(), before);
    std::sort(results.begin(), results.end(), before);
    const bool same = std::equal(expected.begin(), expected.end(), results.begin(), results.end(),
                                 [&](const Message& a, const Message& b) { return !before(a, b) && !before(b, a); });
    EXPECT_TRUE(same) << "wave " << waves << " of commands" << sentText << ": results differ\n  expected" << text(expected)
                      << "\n  got     " << text(results);
    return same;
}

void FaultSoak::run()
{
    ASSERT_TRUE(pki.isValid());
    server.route("*", "/", [this](const TestHttpsServer::Request& request) { return plan.answer(request); },
                 TestHttpsServer::Match::Prefix);
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(failing.start());
    const auto start = std::chrono::steady_clock::now();
    const auto endsWave = [](int kind) { return command(kind).successId != 0 && kind != Certificate; };
    while (sent < target && !::testing::Test::HasFailure()) {
        if (waves % 40 == 0)
            openKit();
        // A few kinds, the last one owing a message that ends the wave; the
        // certificate, which may answer nothing at once, goes first, where its
        // silence cannot be taken for another command's.
        std::vector<int> wave(KindCount);
        std::iota(wave.begin(), wave.end(), 0);
        std::shuffle(wave.begin(), wave.end(), random);
        wave.erase(std::find_if(wave.begin() + draw(0, 5), wave.end(), endsWave) + 1, wave.end());
        std::stable_partition(wave.begin(), wave.end(), [](int kind) { return kind == Certificate; });
        if (!::testing::Test::HasFailure())
            runWave(wave);
    }
    if (!::testing::Test::HasFailure() && runWave({Spots})) { // nothing may trail behind the last wave
        EXPECT_EQ(text(listener.received()), "") << "messages after the last wave";
    }
    kit->close();
    EXPECT_TRUE(listener.waitForClose(opens));
    kit.reset();
    std::printf("soak: %d commands in %d waves, %.1f s, %d pool refusals, %d open periods\n", sent, waves,
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), poolRefusals, opens);
}

} // namespace

TEST(FaultSoak, EveryCommandGetsExactlyItsAnswers)
{
    const char* directory = std::getenv("VX_SAVEFILE_DIR"); // every run starts without a stored token
    std::remove((std::string(directory != nullptr ? directory : ".") + "/OrvToken.ini").c_str());
    const char* seed = std::getenv("ORVKIT_SOAK_SEED");
    const char* commands = std::getenv("ORVKIT_SOAK_COMMANDS");
    const unsigned int seedValue = seed != nullptr ? static_cast<unsigned int>(std::atoi(seed)) : 20240615u;
    const int count = commands != nullptr ? std::atoi(commands) : 300;
    std::printf("soak: seed %u, %d commands\n", seedValue, count);
    FaultSoak(seedValue, count).run();
}
