// orvkit-cli run as a user runs it, against the simulator in this process:
// what the client itself decides about a chain of subcommands.
#include "OrvCloudSimulator.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <fstream>
#include <string>
#include <vector>

namespace {

struct Outcome
{
    int exitCode = -1;
    std::string out;
    std::string err;
};

size_t occurrences(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

class OrvCliChainTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(directory.isValid());
        std::string error;
        ASSERT_TRUE(simulator.start(OrvCloudSimulator::Options(), &error)) << error;
        caFile = directory.filePath("ca.pem").toStdString();
        std::ofstream(caFile) << simulator.caCertificatePem();
    }

    // Origins and CA of the simulator, a save directory of this run only, then args.
    Outcome cli(const std::vector<std::string>& args, const std::string& save = "save")
    {
        const OrvCloudSimulator::Origins origins = simulator.origins();
        QStringList arguments{"--auth",   QString::fromStdString(origins.authServerOrigin),
                              "--api",    QString::fromStdString(origins.apiServerOrigin),
                              "--cert",   QString::fromStdString(origins.certificateOrigin),
                              "--shadow", QString::fromStdString(origins.deviceShadowOrigin),
                              "--ca-bundle", QString::fromStdString(caFile),
                              "--save-dir", directory.filePath(QString::fromStdString(save))};
        for (const std::string& arg : args) {
            arguments << QString::fromStdString(arg);
        }
        return run(arguments);
    }

    static Outcome run(const QStringList& arguments)
    {
        QProcess process;
        process.start(ORVKIT_CLI_PATH, arguments);
        Outcome outcome;
        if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit) {
            process.kill();
            process.waitForFinished();
            return outcome;
        }
        outcome.exitCode = process.exitCode();
        outcome.out = process.readAllStandardOutput().toStdString();
        outcome.err = process.readAllStandardError().toStdString();
        return outcome;
    }

    const std::vector<std::string> login{"login", "--model", "ORV-NAV20", "--device", "0012345",
                                         "--loginid", "driver01", "--password", "orv-pass-01"};
    QTemporaryDir directory;
    OrvCloudSimulator simulator;
    std::string caFile;
};

std::vector<std::string> chain(std::vector<std::string> first, const std::vector<std::vector<std::string>>& rest)
{
    for (const std::vector<std::string>& link : rest) {
        first.push_back("--");
        first.insert(first.end(), link.begin(), link.end());
    }
    return first;
}

// The summary's failure comes after its time-out, while the destinations
// wait for theirs: it must not be taken for the destinations' answer, and
// the certificate after them still has the identity of the login.
TEST_F(OrvCliChainTest, LateAnswerAfterTimeOutReachesNoLaterCommand)
{
    ASSERT_TRUE(simulator.addFault("summary=500:E5001001,delay=3000"));
    ASSERT_TRUE(simulator.addFault("destinations=delay=1200"));
    std::vector<std::string> args{"--timeout", "2000", "--keep-going"};
    const std::vector<std::string> rest = chain(login, {{"summary"}, {"destinations"}, {"certificate"}});
    args.insert(args.end(), rest.begin(), rest.end());

    const Outcome outcome = cli(args);
    EXPECT_EQ(outcome.exitCode, 3) << outcome.err;
    EXPECT_EQ(occurrences(outcome.err, "no answer within"), 1u) << outcome.err;
    EXPECT_NE(outcome.err.find("summary: no answer within 2000 ms"), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find("result code"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.out.find("3 destinations"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("certificate:"), std::string::npos) << outcome.out << outcome.err;
}

TEST_F(OrvCliChainTest, DeviceCommandWithoutLoginGetsAHint)
{
    struct Case
    {
        std::vector<std::string> args;
        bool hint; // and a failure
    };
    const Case cases[] = {
        {{"certificate"}, true},
        {chain(login, {{"certificate"}}), false},
        {chain(login, {{"position", "--lon", "139.77", "--lat", "35.68"}}), true},
    };
    int run = 0;
    for (const Case& c : cases) {
        const Outcome outcome = cli(c.args, "save" + std::to_string(run++));
        EXPECT_EQ(outcome.exitCode != 0, c.hint) << c.args.back() << ": " << outcome.err;
        EXPECT_EQ(outcome.err.find("hint: ") != std::string::npos, c.hint) << c.args.back() << ": " << outcome.err;
        if (c.hint) {
            EXPECT_NE(outcome.err.find("login ... -- certificate"), std::string::npos) << outcome.err;
        }
    }
}

TEST_F(OrvCliChainTest, CommandLineHelpAndErrors)
{
    struct Case
    {
        QStringList args;
        int exitCode;
        std::string inOut;
        std::string inErr;
    };
    const Case cases[] = {
        {{"spots", "--help"}, 0, "--count", ""},
        {{"summary", "--", "position", "--help"}, 0, "--measured-at", ""},
        {{"spots", "--bogus", "1"}, 2, "", "spots does not take: --bogus 1"},
        {{"summary", "--json"}, 2, "", "options of the run go before the first subcommand"},
        {{"--timeout", "0", "summary"}, 2, "", "--timeout"},
        {{"login", "--model", "M"}, 2, "", "--device is required"},
        {{"summary", "--", "spots", "--count", "70000"}, 2, "", "--count"},
        {{"summary", "--"}, 2, "", "empty subcommand"},
        {{"demo", "--", "summary"}, 2, "", "demo runs alone"},
    };
    for (const Case& c : cases) {
        const Outcome outcome = run(c.args);
        const std::string name = c.args.join(' ').toStdString();
        EXPECT_EQ(outcome.exitCode, c.exitCode) << name << ": " << outcome.err;
        EXPECT_NE(outcome.out.find(c.inOut), std::string::npos) << name << ": " << outcome.out;
        EXPECT_NE(outcome.err.find(c.inErr), std::string::npos) << name << ": " << outcome.err;
    }
}

} // namespace
