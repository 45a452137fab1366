#include <OrvKit.h>

#include "kit/OrvKitImpl.h"

OrvKit::OrvKit() : impl(new OrvKitImpl(OrvKitPreferences())) {}

OrvKit::OrvKit(const OrvKitPreferences& preferences) : impl(new OrvKitImpl(preferences)) {}

OrvKit::~OrvKit()
{
    delete impl;
    impl = nullptr;
}

int OrvKit::open() { return impl->open(); }
int OrvKit::close() { return impl->close(); }
int OrvKit::setListener(OrvKitListener* listener) { return impl->setListener(listener); }
int OrvKit::removeListener(OrvKitListener* listener) { return impl->removeListener(listener); }
int OrvKit::sendCommand(OrvKitDef::CmdData& command) { return impl->sendCommand(command); }
