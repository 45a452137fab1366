// Signs in, asks for the information summary and prints it.
//   orvkit-minimal AUTH_ORIGIN API_ORIGIN LOGIN_ID PASSWORD [CA_FILE]
// With CA_FILE the servers' certificates are checked against it.
#include <OrvKit.h>
#include <OrvKitCommands.h>

#include <QCoreApplication>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace {

// The kit calls back on its own thread; this hands the messages over to main.
class Inbox : public OrvKitListener
{
public:
    struct Message { unsigned long id; std::vector<uint8_t> payload; };

    void onOpenEnd() override { update([this] { opened = true; }); }
    void onCloseEnd() override { update([this] { closed = true; }); }
    void onMessage(OrvKitDef::CmdData& message) override
    {
        // The payload buffer belongs to the kit and is gone once this returns.
        const uint8_t* data = message.data;
        Message copy{message.uniqueID, std::vector<uint8_t>(data, data == nullptr ? data : data + message.size)};
        update([&] { messages.push_back(std::move(copy)); });
    }

    bool waitOpened() { return wait([this] { return opened; }); }
    bool waitClosed() { return wait([this] { return closed; }); }

    // Skips messages until the one that ends the command's exchange arrives:
    // its result, its failure or its refusal.
    bool waitForFinal(const OrvKitCommands::Command& command, Message& found)
    {
        return wait([&] {
            for (; !messages.empty(); messages.pop_front()) {
                std::printf("  message 0x%04lX, %zu byte(s)\n", messages.front().id, messages.front().payload.size());
                if (OrvKitCommands::isFinal(command, messages.front().id)) {
                    found = std::move(messages.front());
                    messages.pop_front();
                    return true;
                }
            }
            return false;
        });
    }

private:
    template <class Change> void update(Change change)
    {
        std::lock_guard<std::mutex> lock(mutex);
        change();
        changed.notify_all();
    }
    template <class Done> bool wait(Done done)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(15), done);
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Message> messages;
    bool opened = false, closed = false;
};

// Sends one command and waits for its final answer; true when that is the
// command's result, whose body is then in answer.
bool exchange(OrvKit& kit, Inbox& inbox, unsigned long code, std::vector<uint8_t> block, Inbox::Message& answer)
{
    const OrvKitCommands::Command& command = *OrvKitCommands::findCommand(code);
    std::printf("%s\n", command.name);
    OrvKitDef::CmdData data{block.data(), static_cast<uint32_t>(block.size()), code};
    if (kit.sendCommand(data) != 1 || !inbox.waitForFinal(command, answer))
        return false;
    if (answer.id != command.success)
        std::printf("%s failed, code %u\n", command.name, answer.payload.empty() ? 0U : answer.payload[0]);
    return answer.id == command.success;
}

int run(OrvKit& kit, Inbox& inbox, const std::string& loginId, const std::string& password)
{
    Inbox::Message answer;
    // Maker code, model and device number name the head unit; the login id and password the user.
    if (!exchange(kit, inbox, OrvKitDef::CMD_LOGIN, OrvKitCommands::loginBlock(6, "ORV-NAV20", "0012345", loginId, password),
                  answer) ||
        !exchange(kit, inbox, OrvKitDef::CMD_GET_INFO_SUMMARY, OrvKitCommands::noParameters(), answer))
        return 1;
    OrvKitDat::SummaryResponse summary;
    if (!summary.fromJson(answer.payload))
        return std::printf("summary: the body is not a summary\n"), 1;
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

    Inbox inbox; // declared first: it must outlive the kit that calls it
    OrvKit kit(preferences);
    kit.setListener(&inbox);
    int status = 1;
    if (kit.open() == 1 && inbox.waitOpened()) {
        status = run(kit, inbox, argv[3], argv[4]);
        kit.close();
        inbox.waitClosed();
    } else {
        std::fprintf(stderr, "the kit did not open\n");
    }
    kit.removeListener(&inbox);
    std::printf("%s\n", status == 0 ? "done" : "failed");
    return status;
}
