#ifndef ORVKIT_SOAK_WAVE_H
#define ORVKIT_SOAK_WAVE_H

#include "RecordingListener.h"

#include <cstddef>
#include <string>
#include <vector>

// One wave of the soak: commands of different kinds sent back to back, and
// the reading of what the library answered. Each command's immediate answer
// (acceptance, refusal, or for the certificate possibly none) comes in
// sending order; results come in any order. A wave is settled when every
// immediate answer is known and every request started has its one result.
class SoakWave
{
public:
    using Message = RecordingListener::Message;

    struct Planned
    {
        int command;            // SoakCommands::Index
        bool testOrigin;        // the identity chose the test origins when it ran
        bool loginComplete;     // login: the block held all four texts
        bool certificatesHeld;  // certificate: the service held all three texts
    };

    explicit SoakWave(std::vector<Planned> planned);

    // Reads every message heard since the wave was sent. False, with the
    // reason, on a message that this wave cannot account for.
    bool read(const std::vector<Message>& heard, std::string& error);
    bool settled() const { return isSettled; }

    const std::vector<Planned>& planned() const { return commands; }
    // Indices of the planned commands whose request started and owes a result.
    const std::vector<size_t>& owing() const { return owingResult; }
    const std::vector<Message>& results() const { return resultMessages; }
    int poolRefusals() const { return refusals; }

    static bool isResult(const Message& message);

private:
    std::vector<Planned> commands;
    std::vector<size_t> owingResult;
    std::vector<Message> resultMessages;
    int refusals;
    bool isSettled;
};

#endif
