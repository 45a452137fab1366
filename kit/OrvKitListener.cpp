#include <OrvKit.h>

OrvKitListener::~OrvKitListener() = default;
void OrvKitListener::onOpenEnd() {}
void OrvKitListener::onCloseEnd() {}
void OrvKitListener::onMessage(OrvKitDef::CmdData&) {}
