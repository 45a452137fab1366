#ifndef ORVKIT_INBOX_H
#define ORVKIT_INBOX_H

/// @file
/// OrvKitInbox: a listener that queues the kit's messages so that the
/// application's thread can send one command and wait for its outcome.
/// Header-only: it adds no symbol to the library.

#include <OrvKit.h>
#include <OrvKitCommands.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

/// A listener that keeps what the kit reports until a thread of the
/// application takes it: open and close, and every message in order.
///
/// The kit calls back on its own threads; this class copies each message and
/// hands it to the waiting thread. Register it before open(), keep it alive
/// until the kit is destroyed, and send one command at a time: failures of
/// the API commands share one message id (OrvKitDef::MSG_RESULT_ERROR), so
/// only the order tells whose failure it is.
///
/// @code
/// OrvKitInbox inbox;
/// OrvKit kit(preferences);
/// kit.setListener(&inbox);
/// kit.open();
/// inbox.waitOpened(std::chrono::seconds(5));
/// OrvKitInbox::Message answer;
/// if (inbox.send(kit, OrvKitDef::CMD_GET_INFO_SUMMARY, OrvKitCommands::noParameters(), answer)
///     == OrvKitInbox::Outcome::Success) { ... decode answer.payload ... }
/// kit.close();
/// inbox.waitClosed(std::chrono::seconds(5));
/// @endcode
class OrvKitInbox : public OrvKitListener
{
public:
    /// One message as the kit sent it.
    struct Message
    {
        unsigned long id = 0;         ///< The message id (OrvKitDef::MSG_*).
        std::vector<uint8_t> payload; ///< The body of a success, one result-code byte of a failure or refusal.
        /// The result code of a failure or refusal; 0 for an empty payload.
        uint8_t code() const { return payload.empty() ? 0 : payload[0]; }
    };

    /// How a command's exchange ended.
    enum class Outcome
    {
        Success,      ///< The command's success message; the body (if any) is in the answer.
        Failure,      ///< The command's failure message; answer.code() is the result code.
        Refused,      ///< Refused before any request (OrvKitDef::MSG_REQUEST_ERROR, MSG_LOGIN_ERROR).
        AcceptedOnly, ///< Accepted, and the kit passes no answer on for this command (0x81, 0x91, 0x101).
        NotTaken,     ///< Not sent: the kit is not open, the command is empty, or its code is not in the table.
        TimedOut      ///< Nothing final arrived in time.
    };

    /// Kit callback: the service is up.
    void onOpenEnd() override { update([this] { ++opens; }); }
    /// Kit callback: the service has closed.
    void onCloseEnd() override { update([this] { ++closes; }); }
    /// Kit callback: copies the message into the queue.
    void onMessage(OrvKitDef::CmdData& message) override
    {
        Message copy;
        copy.id = message.uniqueID;
        if (message.data != nullptr)
            copy.payload.assign(message.data, message.data + message.size);
        update([&] { messages.push_back(std::move(copy)); });
    }

    /// Waits until the kit is open (OrvKitListener::onOpenEnd() came after the last close).
    bool waitOpened(std::chrono::milliseconds timeout)
    {
        return wait(timeout, [this] { return opens > closes; });
    }
    /// Waits until the kit has closed (OrvKitListener::onCloseEnd() answered every open).
    bool waitClosed(std::chrono::milliseconds timeout)
    {
        return wait(timeout, [this] { return closes >= opens; });
    }
    /// True between onOpenEnd() and onCloseEnd().
    bool isOpen()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return opens > closes;
    }

    /// Takes the oldest message; false when none arrives within timeout.
    bool next(Message& message, std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(mutex);
        if (!changed.wait_for(lock, timeout, [this] { return !messages.empty(); }))
            return false;
        message = std::move(messages.front());
        messages.pop_front();
        return true;
    }

    /// Forgets every message not taken yet (after a close: nothing of the old
    /// open period can then reach a later command).
    void clear()
    {
        std::lock_guard<std::mutex> lock(mutex);
        messages.clear();
    }

    /// Sends a command and waits for its outcome (see waitForOutcome()).
    Outcome send(OrvKit& kit, unsigned long code, std::vector<uint8_t> bytes, Message& answer,
                 std::chrono::milliseconds timeout = std::chrono::seconds(35))
    {
        const OrvKitCommands::Command* command = OrvKitCommands::findCommand(code);
        OrvKitDef::CmdData data{bytes.data(), static_cast<uint32_t>(bytes.size()), code};
        if (command == nullptr || kit.sendCommand(data) != 1)
            return Outcome::NotTaken;
        return waitForOutcome(*command, answer, timeout);
    }

    /// Takes messages until the command's exchange ends and returns how it
    /// ended; the final message goes to answer. Knows the table's rules: a
    /// result that comes before the command's acceptance belongs to an
    /// earlier command and is skipped; the certificate command has no
    /// acceptance; commands whose answers are not passed on end with their
    /// acceptance. The kit's own time-out is 30 s.
    /// @param command the row of the command sent (OrvKitCommands::findCommand()).
    /// @param answer receives the final message.
    /// @param timeout how long to wait in all.
    /// @param seen called with every message taken, the final one included.
    Outcome waitForOutcome(const OrvKitCommands::Command& command, Message& answer, std::chrono::milliseconds timeout,
                           const std::function<void(const Message&)>& seen = nullptr)
    {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        bool accepted = command.accepted == 0;
        Message message;
        while (next(message, std::chrono::duration_cast<std::chrono::milliseconds>(
                                 deadline - std::chrono::steady_clock::now()))) {
            if (seen)
                seen(message);
            Outcome outcome;
            if (command.accepted != 0 && message.id == command.accepted) {
                accepted = true;
                if (command.passedOn)
                    continue;
                outcome = Outcome::AcceptedOnly;
            } else if (message.id == command.refused) {
                outcome = Outcome::Refused;
            } else if (accepted && command.success != 0 && message.id == command.success) {
                outcome = Outcome::Success;
            } else if (accepted && command.failure != 0 && message.id == command.failure) {
                outcome = Outcome::Failure;
            } else {
                continue;
            }
            answer = std::move(message);
            return outcome;
        }
        return Outcome::TimedOut;
    }

private:
    template <class Change> void update(Change change)
    {
        {
            std::lock_guard<std::mutex> lock(mutex);
            change();
        }
        changed.notify_all();
    }
    template <class Done> bool wait(std::chrono::milliseconds timeout, Done done)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, timeout, done);
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Message> messages;
    unsigned opens = 0;
    unsigned closes = 0;
};

#endif
