// Built with include/ as the only include path and no Qt: OrvKitCommands.h
// must stand on its own in an application that uses nothing else.
#include <OrvKitCommands.h>

static_assert(OrvKitCommands::findCommand(OrvKitDef::CMD_GET_GENRES)->successStatus == 200, "the table is usable at compile time");

int main()
{
    return OrvKitCommands::loginBlock(1, "m", "d", "i", "p").size() == 9 ? 0 : 1;
}
