#include <OrvKit.h>

#include "OrvKitEndpointDefaults.h"

OrvKitPreferences::OrvKitPreferences()
    : authServerOrigin(ORVKIT_DEFAULT_AUTH_SERVER_ORIGIN),
      authServerTestOrigin(ORVKIT_DEFAULT_AUTH_SERVER_TEST_ORIGIN),
      apiServerOrigin(ORVKIT_DEFAULT_API_SERVER_ORIGIN),
      apiServerTestOrigin(ORVKIT_DEFAULT_API_SERVER_TEST_ORIGIN),
      certificateOrigin(ORVKIT_DEFAULT_CERTIFICATE_ORIGIN),
      certificateTestOrigin(ORVKIT_DEFAULT_CERTIFICATE_TEST_ORIGIN),
      deviceShadowOrigin(ORVKIT_DEFAULT_DEVICE_SHADOW_ORIGIN),
      deviceShadowTestOrigin(ORVKIT_DEFAULT_DEVICE_SHADOW_TEST_ORIGIN),
      verifyServerCertificates(false)
{
}

OrvKitPreferences::~OrvKitPreferences() = default;
