#ifndef ORV_SERVER_SERVICE_PROBE_H
#define ORV_SERVER_SERVICE_PROBE_H

#include "service/OrvServerService.h"

// Lets a test call the service's event-thread entry points directly and read
// the identity it stored, without a public member for the purpose.
class OrvServerServiceProbe : public OrvServerService
{
public:
    using OrvServerService::OrvServerService;
    using OrvServerService::accessoryInfoView;
    using OrvServerService::httpCanceled;
    using OrvServerService::httpFinished;
    using OrvServerService::recvCommand;
};

#endif
