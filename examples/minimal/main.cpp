// Signs in, asks for the information summary and prints it.
//   orvkit-minimal AUTH_ORIGIN API_ORIGIN LOGIN_ID PASSWORD [CA_FILE]
// With CA_FILE the servers' certificates are checked against it.
#include <OrvKit.h>

#include <QCoreApplication>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <initializer_list>
#include <mutex>
#include <string>
#include <vector>

namespace {

// The kit calls back on its own thread; this hands the messages over to main.
class Inbox : public OrvKitListener
{
public:
    struct Message
    {
        unsigned long id = 0;
        std::vector<uint8_t> payload;
    };

    void onOpenEnd() override { setFlag(opened); }
    void onCloseEnd() override { setFlag(closed); }
    void onMessage(OrvKitDef::CmdData& message) override
    {
        Message copy;
        copy.id = message.uniqueID;
        // The payload buffer belongs to the kit and is gone once this returns.
        if (message.data != nullptr)
            copy.payload.assign(message.data, message.data + message.size);
        {
            std::lock_guard<std::mutex> lock(mutex);
            messages.push_back(std::move(copy));
        }
        changed.notify_all();
    }

    bool waitOpened() { return waitFlag(opened); }
    bool waitClosed() { return waitFlag(closed); }

    // Skips messages until one of the given ids arrives.
    bool waitFor(std::initializer_list<unsigned long> ids, Message& found)
    {
        std::unique_lock<std::mutex> lock(mutex);
        const auto deadline = std::chrono::steady_clock::now() + kTimeout;
        for (;;) {
            while (!messages.empty()) {
                Message next = std::move(messages.front());
                messages.pop_front();
                std::printf("  message 0x%04lX, %zu byte(s)\n", next.id, next.payload.size());
                for (unsigned long id : ids) {
                    if (next.id == id) {
                        found = std::move(next);
                        return true;
                    }
                }
            }
            if (changed.wait_until(lock, deadline) == std::cv_status::timeout && messages.empty())
                return false;
        }
    }

private:
    static constexpr std::chrono::seconds kTimeout{15};

    void setFlag(bool& flag)
    {
        {
            std::lock_guard<std::mutex> lock(mutex);
            flag = true;
        }
        changed.notify_all();
    }
    bool waitFlag(const bool& flag)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, kTimeout, [&flag] { return flag; });
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Message> messages;
    bool opened = false;
    bool closed = false;
};

bool send(OrvKit& kit, unsigned long code, std::vector<uint8_t> bytes)
{
    OrvKitDef::CmdData command{bytes.data(), static_cast<uint32_t>(bytes.size()), code};
    return kit.sendCommand(command) == 1;
}

// Maker byte, then model, device number, login id and password, each ending in a zero byte.
std::vector<uint8_t> loginBlock(const std::string& loginId, const std::string& password)
{
    std::vector<uint8_t> block{6};
    for (const std::string& text : {std::string("ORV-NAV20"), std::string("0012345"), loginId, password}) {
        block.insert(block.end(), text.begin(), text.end());
        block.push_back(0);
    }
    return block;
}

int run(OrvKit& kit, Inbox& inbox, const std::string& loginId, const std::string& password)
{
    using namespace OrvKitDef;
    Inbox::Message answer;

    std::printf("login as %s\n", loginId.c_str());
    if (!send(kit, CMD_LOGIN, loginBlock(loginId, password)) ||
        !inbox.waitFor({MSG_LOGIN_RESULT, MSG_LOGIN_ERROR, MSG_LOGIN_RESULT_ERROR}, answer))
        return 1;
    if (answer.id != MSG_LOGIN_RESULT) {
        std::printf("login failed, code %u\n", answer.payload.empty() ? 0U : answer.payload[0]);
        return 1;
    }

    std::printf("information summary\n");
    // The summary reads no parameters, but the kit refuses an empty command.
    if (!send(kit, CMD_GET_INFO_SUMMARY, {0}) ||
        !inbox.waitFor({MSG_INFO_SUMMARY_RESULT, MSG_REQUEST_ERROR, MSG_RESULT_ERROR}, answer))
        return 1;
    if (answer.id != MSG_INFO_SUMMARY_RESULT) {
        std::printf("summary failed, code %u\n", answer.payload.empty() ? 0U : answer.payload[0]);
        return 1;
    }
    OrvKitDat::SummaryResponse summary;
    if (!summary.fromJson(answer.payload)) {
        std::printf("summary: the body is not a summary\n");
        return 1;
    }
    std::printf("  spots        %u (updated %s)\n", summary.spotCount, summary.spotUpdatedAt.c_str());
    std::printf("  folders      %u (updated %s)\n", summary.folderCount, summary.folderUpdatedAt.c_str());
    std::printf("  destinations %u (updated %s)\n", summary.destinationCount, summary.destinationUpdatedAt.c_str());
    std::printf("  plans        %u (updated %s)\n", summary.planCount, summary.planUpdatedAt.c_str());
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 5 && argc != 6) {
        std::fprintf(stderr, "usage: %s AUTH_ORIGIN API_ORIGIN LOGIN_ID PASSWORD [CA_FILE]\n", argv[0]);
        return 2;
    }
    // The kit's worker creates its service only once this object exists. The
    // kit runs its own event loop, so main need not call exec().
    QCoreApplication app(argc, argv);

    OrvKitPreferences preferences;
    preferences.authServerOrigin = argv[1];
    preferences.apiServerOrigin = argv[2];
    if (argc == 6) {
        preferences.verifyServerCertificates = true;
        preferences.caBundlePath = argv[5];
    }

    Inbox inbox;
    int status = 1;
    {
        OrvKit kit(preferences);
        kit.setListener(&inbox);
        if (kit.open() == 1 && inbox.waitOpened()) {
            status = run(kit, inbox, argv[3], argv[4]);
            kit.close();
            inbox.waitClosed();
        } else {
            std::fprintf(stderr, "the kit did not open\n");
        }
        kit.removeListener(&inbox);
    }
    std::printf("%s\n", status == 0 ? "done" : "failed");
    return status;
}
