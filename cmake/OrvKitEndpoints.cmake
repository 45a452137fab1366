# Deployment origins (scheme://host[:port], no path). The defaults point
# nowhere on purpose; deployments and tests set their own.
set(ORVKIT_AUTH_SERVER_ORIGIN "https://auth.orvkit.invalid" CACHE STRING "Production authentication server origin")
set(ORVKIT_AUTH_SERVER_TEST_ORIGIN "https://auth-test.orvkit.invalid" CACHE STRING "Test authentication server origin")
set(ORVKIT_API_SERVER_ORIGIN "https://api.orvkit.invalid" CACHE STRING "Production API server origin")
set(ORVKIT_API_SERVER_TEST_ORIGIN "https://api-test.orvkit.invalid" CACHE STRING "Test API server origin")
set(ORVKIT_CERTIFICATE_ORIGIN "https://cert.orvkit.invalid" CACHE STRING "Production certificate endpoint origin")
set(ORVKIT_CERTIFICATE_TEST_ORIGIN "https://cert-test.orvkit.invalid" CACHE STRING "Test certificate endpoint origin")
set(ORVKIT_DEVICE_SHADOW_ORIGIN "https://shadow.orvkit.invalid:8443" CACHE STRING "Production device-shadow endpoint origin")
set(ORVKIT_DEVICE_SHADOW_TEST_ORIGIN "https://shadow-test.orvkit.invalid:8443" CACHE STRING "Test device-shadow endpoint origin")
