#ifndef ORV_RESULT_MAPPERS_H
#define ORV_RESULT_MAPPERS_H

#include <cstdint>
#include <string>
#include <vector>

// The two ways a failed reply becomes a one-byte result code: one for the
// navigation API and sign-in servers, one for the certificate and
// device-shadow endpoints.
namespace OrvResultMappers {

// Reads the server's error code from body where a status needs it; context
// tells the sign-in (1) from every other request.
unsigned char serverResultCode(unsigned int networkError, unsigned int httpStatus,
                               const std::vector<uint8_t>& body, unsigned int context);

// The error code of the server's error body; empty when there is none.
std::string serverErrorCode(const std::vector<uint8_t>& body);

// Goes by the status first, then by the network error.
unsigned char deviceResultCode(unsigned int networkError, unsigned int httpStatus);

} // namespace OrvResultMappers

#endif
