// Signs in, lists the bookmark folders, reports one position and closes.
//   orvkit-minimal ORIGINS_FILE LOGIN_ID PASSWORD
// ORIGINS_FILE is what `orvkit-sim --origins-file FILE --ca-file CA` writes.
#include <OrvKit.h>
#include <OrvKitCommands.h>
#include <OrvKitInbox.h>
#include <OrvKitOrigins.h>

#include <QCoreApplication>

#include <cstdio>
#include <string>

using namespace OrvKitDef;
using Outcome = OrvKitInbox::Outcome;

// Sends one command and waits for its outcome; true on success.
static bool exchange(OrvKit& kit, OrvKitInbox& inbox, unsigned long code, std::vector<uint8_t> bytes,
                     OrvKitInbox::Message& answer)
{
    const Outcome outcome = inbox.send(kit, code, bytes, answer);
    const char* name = OrvKitCommands::findCommand(code)->name;
    if (outcome == Outcome::Success)
        return std::printf("%s: ok\n", name), true;
    if (outcome == Outcome::TimedOut || outcome == Outcome::NotTaken)
        return std::printf("%s: no answer\n", name), false;
    return std::printf("%s: failed, code %u\n", name, answer.code()), false;
}

int main(int argc, char** argv)
{
    if (argc != 4)
        return std::fprintf(stderr, "usage: %s ORIGINS_FILE LOGIN_ID PASSWORD\n", argv[0]), 2;
    // The kit starts its service only once this object exists; it runs its
    // own event loop, so main need not call exec().
    QCoreApplication app(argc, argv);
    OrvKitPreferences preferences;
    std::string error;
    if (!OrvKitOrigins::load(argv[1], preferences, &error))
        return std::fprintf(stderr, "%s\n", error.c_str()), 1;

    OrvKitInbox inbox; // declared before the kit: it must outlive the kit that calls it
    OrvKit kit(preferences);
    kit.setListener(&inbox);
    if (kit.open() != 1 || !inbox.waitOpened(std::chrono::seconds(5)))
        return std::fprintf(stderr, "the kit did not open\n"), 1;

    // Login first: maker code, model and device number name the head unit.
    // Then the certificate, which the position report needs. Both last until close().
    OrvKitInbox::Message answer;
    bool ok = exchange(kit, inbox, CMD_LOGIN, OrvKitCommands::loginBlock(6, "ORV-NAV20", "0012345", argv[2], argv[3]), answer) &&
              exchange(kit, inbox, CMD_GET_FOLDERS, OrvKitCommands::pageBlock(1, 0, 20), answer);
    OrvKitDat::BookmarksFoldersResponse folders;
    if (ok && folders.fromJson(answer.payload))
        for (const auto& folder : folders.folders)
            std::printf("  folder %s\n", folder.name.c_str());

    OrvKitDat::CarPositions position;
    position.lon = 139.767125;
    position.lat = 35.681236;
    position.measuredAt = "2024-06-15T00:30:00Z"; // UTC, ISO 8601
    VxSerialization::Archive archive; // the command carries the record as archive bytes
    position.serialize(archive);
    ok = ok && exchange(kit, inbox, CMD_GET_CERTIFICATE, OrvKitCommands::noParameters(), answer) &&
         exchange(kit, inbox, CMD_UPDATE_SHADOW, archive.bytes(), answer);

    kit.close();
    inbox.waitClosed(std::chrono::seconds(5));
    kit.removeListener(&inbox);
    std::printf("%s\n", ok ? "done" : "failed");
    return ok ? 0 : 1;
}
