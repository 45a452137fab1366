// Many commands through OrvKit against a server that fails at random (SoakPlan.h),
// in waves of different kinds, so that requests overlap and the pools run full
// now and then. The test origins are a TLS 1.3-only server: after a login with a
// test id every handshake fails. Each command must get exactly its immediate
// answer and, per request started, the one result that the server's answer calls for.
#include "InboxTesting.h"
#include "SoakPlan.h"
#include "TestPki.h"
#include "TestTime.h"

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

std::string text(const std::vector<Message>& messages) // id, then the code or the size of the payload
{
    std::string out;
    char item[40];
    for (const Message& m : messages)
        out += (std::snprintf(item, sizeof item, m.payload.size() == 1 ? " %lx:%02zx" : " %lx/%zu", m.id,
                              m.payload.size() == 1 ? static_cast<size_t>(m.payload[0]) : m.payload.size()), item);
    return out;
}

bool is(const Message& m, unsigned long id, int code = -1)
{
    return m.id == id && (code < 0 ? m.payload.empty() : m.payload == Bytes(1, static_cast<uint8_t>(code)));
}

bool isResult(const Message& m)
{
    bool result = false;
    for (int kind = 0; kind < KindCount; ++kind)
        result = result || (command(kind).successId != 0 && (m.id == command(kind).successId || m.id == command(kind).failureId));
    // Empty, these are immediate answers: token still valid, certificate already held.
    return result && !(m.payload.empty() && (m.id == MSG_LOGIN_RESULT || m.id == MSG_CERTIFICATE_RESULT));
}

class FaultSoak : public ::testing::Test
{
protected:
    int draw(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }

    Bytes payload(int kind, bool& refused)
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
    bool runWave(const std::vector<int>& wave)
    {
        plan.clear();
        bool refused[KindCount] = {};
        std::string sentText;
        for (size_t i = 0; i < wave.size(); ++i) {
            Bytes bytes = payload(wave[i], refused[i]);
            char code[12];
            sentText += (std::snprintf(code, sizeof code, " %lx", command(wave[i]).code), code);
            CmdData data{bytes.data(), static_cast<uint32_t>(bytes.size()), command(wave[i]).code};
            ++sent;
            if (kit->sendCommand(data) != 1) {
                ADD_FAILURE() << "the kit refused command" << sentText;
                return false;
            }
        }
        std::vector<Message> heard, results;
        std::vector<int> started;
        size_t next = 0;
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
            Message taken;
            if (!inbox.next(taken, scaled(std::chrono::seconds(15))))
                return fail("never settled");
            heard.push_back(taken);
            const Message& m = heard.back();
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
        // A late message stays in the inbox, and spoils the next wave.
        ++waves;
        std::vector<Message> expected;
        for (int kind : started)
            expected.push_back(plan.owed(kind));
        const auto before = [](const Message& a, const Message& b) { return std::tie(a.id, a.payload) < std::tie(b.id, b.payload); };
        std::sort(expected.begin(), expected.end(), before);
        std::sort(results.begin(), results.end(), before);
        const bool same = std::equal(expected.begin(), expected.end(), results.begin(), results.end(),
                                     [&](const Message& a, const Message& b) { return !before(a, b) && !before(b, a); });
        EXPECT_TRUE(same) << "wave " << waves << " of commands" << sentText << ": results differ\n  expected"
                          << text(expected) << "\n  got     " << text(results);
        return same;
    }

    const char* seedText = std::getenv("ORVKIT_SOAK_SEED");
    const char* targetText = std::getenv("ORVKIT_SOAK_COMMANDS");
    const unsigned int seed = seedText != nullptr ? static_cast<unsigned int>(std::strtoul(seedText, nullptr, 10)) : 20240615u;
    const int target = targetText != nullptr ? std::atoi(targetText) : 300;
    std::mt19937 random{seed};
    FaultPlan plan{seed + 1};
    TestPki pki;
    TestHttpsServer server{TestHttpsServer::tls(pki)};
    TestHttpsServer failing{[this] { TestHttpsServer::Config c = TestHttpsServer::tls(pki); c.tls13Only = true; return c; }()};
    OrvKitInbox inbox;
    std::unique_ptr<OrvKit> kit;
    int opens = 0, sent = 0, waves = 0, poolRefusals = 0;
};

} // namespace

TEST_F(FaultSoak, EveryCommandGetsExactlyItsAnswers)
{
    std::printf("soak: seed %u, %d commands\n", seed, target);
    const char* directory = std::getenv("VX_SAVEFILE_DIR"); // every run starts without a stored token
    std::remove((std::string(directory != nullptr ? directory : ".") + "/OrvToken.ini").c_str());
    ASSERT_TRUE(pki.isValid());
    server.route("*", "/", [this](const TestHttpsServer::Request& request) { return plan.answer(request); },
                 TestHttpsServer::Match::Prefix);
    ASSERT_TRUE(server.start());
    ASSERT_TRUE(failing.start());
    OrvKitPreferences p;
    p.authServerOrigin = p.apiServerOrigin = p.certificateOrigin = p.deviceShadowOrigin = server.origin();
    p.authServerTestOrigin = p.apiServerTestOrigin = p.certificateTestOrigin = p.deviceShadowTestOrigin = failing.origin();
    const auto endsWave = [](int kind) { return command(kind).successId != 0 && kind != Certificate; };
    while (sent < target && !HasFailure()) {
        if (waves % 40 == 0) { // a fresh service forgets the identity and the certificates
            if (kit) {
                kit->close();
                ASSERT_TRUE(inbox.waitClosed(scaled(std::chrono::seconds(5))));
            }
            kit.reset(new OrvKit(p));
            kit->setListener(&inbox);
            ASSERT_EQ(kit->open(), 1);
            ASSERT_TRUE(inbox.waitOpened(scaled(std::chrono::seconds(5))));
            ++opens;
        }
        // A few kinds, the last one owing a message that ends the wave; the
        // certificate, which may answer nothing at once, goes first, where its
        // silence cannot be taken for another command's.
        std::vector<int> wave(KindCount);
        std::iota(wave.begin(), wave.end(), 0);
        std::shuffle(wave.begin(), wave.end(), random);
        wave.erase(std::find_if(wave.begin() + draw(0, 5), wave.end(), endsWave) + 1, wave.end());
        std::stable_partition(wave.begin(), wave.end(), [](int kind) { return kind == Certificate; });
        runWave(wave);
    }
    if (!HasFailure() && runWave({Spots})) { // nothing may trail behind the last wave
        EXPECT_EQ(text(takeQueued(inbox)), "") << "messages after the last wave";
    }
    kit->close();
    EXPECT_TRUE(inbox.waitClosed(scaled(std::chrono::seconds(5))));
    std::printf("soak: %d commands in %d waves, %d pool refusals, %d open periods\n", sent, waves, poolRefusals, opens);
}
