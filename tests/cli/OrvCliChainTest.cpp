// orvkit-cli run as a user runs it, against the simulator in this process:
// what the client itself decides about a chain of subcommands.
#include "OrvCloudSimulator.h"
#include "TestHttpsServer.h"
#include "TestPki.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <fstream>
#include <functional>
#include <string>

namespace {

struct Outcome
{
    int exitCode;
    std::string out;
    std::string err;
};

// args: words separated by single spaces; whileRunning runs once the client has started.
Outcome run(const QString& args, const std::function<void()>& whileRunning = std::function<void()>())
{
    QProcess process;
    process.start(ORVKIT_CLI_PATH, args.split(' '));
    if (whileRunning)
        whileRunning();
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit) {
        process.kill();
        process.waitForFinished();
        return Outcome{-1, "", ""};
    }
    return Outcome{process.exitCode(), process.readAllStandardOutput().toStdString(),
                   process.readAllStandardError().toStdString()};
}

const QString kLogin = "login --model ORV-NAV20 --device 0012345 --loginid driver01 --password orv-pass-01";

class OrvCliChainTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(directory.isValid());
        std::string error;
        ASSERT_TRUE(simulator.start(OrvCloudSimulator::Options(), &error)) << error;
        std::ofstream(directory.filePath("ca.pem").toStdString()) << simulator.caCertificatePem();
    }

    // With the simulator's origins (the API's, unless given) and CA and a save directory of its own.
    Outcome cli(const QString& args, const QString& save = "save", std::string api = std::string(),
                const std::function<void()>& whileRunning = std::function<void()>())
    {
        const OrvCloudSimulator::Origins o = simulator.origins();
        if (api.empty())
            api = o.apiServerOrigin;
        return run(QString::fromStdString("--auth " + o.authServerOrigin + " --api " + api + " --cert " +
                                          o.certificateOrigin + " --shadow " + o.deviceShadowOrigin) +
                       " --ca-bundle " + directory.filePath("ca.pem") + " --save-dir " + directory.filePath(save) + " " + args,
                   whileRunning);
    }

    QTemporaryDir directory;
    OrvCloudSimulator simulator;
};

// The summary's failure comes after the client gave up on it, while the
// destinations wait for theirs: it must not be taken for the destinations'
// answer, and the certificate after them still has the identity of the login.
TEST_F(OrvCliChainTest, LateAnswerAfterTimeOutReachesNoLaterCommand)
{
    using Reply = TestHttpsServer::Reply;
    TestPki pki;
    TestHttpsServer api(TestHttpsServer::tls(pki));
    ASSERT_TRUE(api.start());
    std::ofstream(directory.filePath("ca.pem").toStdString(), std::ios::app) << pki.ca().certificatePem;
    api.route("GET", "/api/navi/info/v1/summary",
              Reply::held("summary", Reply::withStatus(500, R"({"error":{"code":"E5001001","message":"late"}})")));
    api.route("GET", "/api/navi/bookmarks/v1/destinations",
              Reply::held("destinations", Reply::ok(R"([{"id":"d1"},{"id":"d2"},{"id":"d3"}])")));
    const Outcome outcome =
        cli("--timeout 3000 --keep-going " + kLogin + " -- summary -- destinations -- certificate", "save",
            api.origin(), [&api] {
                EXPECT_TRUE(api.waitForRequests(2, 30000)) << "the destinations asked for after the summary";
                api.release("summary");
                api.release("destinations");
            });
    EXPECT_EQ(outcome.exitCode, 3) << outcome.err;
    EXPECT_NE(outcome.err.find("summary: no answer within 3000 ms"), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find("no answer within", outcome.err.find("no answer within") + 1), std::string::npos)
        << outcome.err;
    EXPECT_EQ(outcome.err.find("result code"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.out.find("3 destinations"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("certificate:"), std::string::npos) << outcome.out << outcome.err;
}

TEST_F(OrvCliChainTest, DeviceCommandWithoutLoginGetsAHint)
{
    const struct { QString args; bool hint; } cases[] = {
        {"certificate", true},
        {kLogin + " -- certificate", false},
        {kLogin + " -- position --lon 139.77 --lat 35.68", true}, // the certificate is not fetched by itself
    };
    int run = 0;
    for (const auto& c : cases) {
        const Outcome outcome = cli(c.args, "save" + QString::number(run++));
        SCOPED_TRACE(c.args.toStdString() + ": " + outcome.err);
        EXPECT_EQ(outcome.exitCode != 0, c.hint);
        EXPECT_EQ(outcome.err.find("hint: ") != std::string::npos, c.hint);
        if (c.hint) {
            EXPECT_NE(outcome.err.find("login ... -- certificate"), std::string::npos);
        }
    }
}

TEST(OrvCliCommandLineTest, HelpPerSubcommandAndErrorsNamingTheOption)
{
    const struct { const char* args; int exitCode; const char* inOut; const char* inErr; } cases[] = {
        {"spots --help", 0, "--count", ""},
        {"summary -- position --help", 0, "--measured-at", ""},
        {"spots --bogus 1", 2, "", "spots does not take: --bogus 1"},
        {"summary --json", 2, "", "options of the run go before the first subcommand"},
        {"--timeout 0 summary", 2, "", "--timeout"},
        {"login --model M", 2, "", "--device is required"},
        {"summary -- spots --count 70000", 2, "", "--count"},
        {"summary --", 2, "", "empty subcommand"},
    };
    for (const auto& c : cases) {
        const Outcome outcome = run(c.args);
        EXPECT_EQ(outcome.exitCode, c.exitCode) << c.args << ": " << outcome.err;
        EXPECT_NE(outcome.out.find(c.inOut), std::string::npos) << c.args << ": " << outcome.out;
        EXPECT_NE(outcome.err.find(c.inErr), std::string::npos) << c.args << ": " << outcome.err;
    }
}

// orvkit-sim as a user starts it, twice with the same command line: the token
// that the first run issued and the client stored still opens the second run's
// API; a forged one does not.
TEST(OrvCliSimulatorRestartTest, StoredTokenOutlivesARestartAForgedOneIsRefused)
{
    QTemporaryDir directory;
    ASSERT_TRUE(directory.isValid());
    const QStringList simArgs = {"--quiet", "--state-dir", directory.filePath("state"), "--origins-file",
                                 directory.filePath("origins"), "--ca-file", directory.filePath("ca.pem"), "--print-origins"};
    const QString chain = "--origins-from-sim " + directory.filePath("origins") + " --save-dir " +
                          directory.filePath("save") + " " + kLogin + " -- summary";
    std::string firstToken;
    for (int round = 0; round < 2; ++round) {
        QProcess sim;
        sim.start(ORVKIT_SIM_PATH, simArgs);
        // The origins go to stdout once the file is written and the ports listen.
        QByteArray printed;
        while (!printed.contains("caCertificateFile=") && sim.waitForReadyRead(20000))
            printed += sim.readAllStandardOutput();
        ASSERT_TRUE(printed.contains("caCertificateFile=")) << sim.readAllStandardError().toStdString();
        const Outcome outcome = run(chain);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_EQ(outcome.out.find("no sign-in was needed") != std::string::npos, round == 1) << outcome.out;
        std::ifstream saved(directory.filePath("save/OrvToken.ini").toStdString());
        std::string token;
        for (std::string line; std::getline(saved, line);)
            if (line.rfind("TokenAccess=", 0) == 0)
                token = line.substr(12);
        if (round == 0) {
            firstToken = token;
        } else {
            EXPECT_EQ(token, firstToken);
            ASSERT_GT(token.size(), 40U);
            // Same claims, another signature: the server refuses it though it has not expired.
            std::ofstream(directory.filePath("save/OrvToken.ini").toStdString())
                << "TokenAccess=" << token.substr(0, token.size() - 1) << (token.back() == '0' ? '1' : '0')
                << "\nTokenExpiration=2147483000\n";
            const Outcome forged = run(chain);
            EXPECT_EQ(forged.exitCode, 80) << forged.out << forged.err;
            EXPECT_NE(forged.err.find("summary failed: result code 80"), std::string::npos) << forged.err;
        }
        sim.terminate();
        EXPECT_TRUE(sim.waitForFinished(10000));
        EXPECT_EQ(sim.exitCode(), 0);
    }
}

} // namespace
