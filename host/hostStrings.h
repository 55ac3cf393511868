// Text services of the host.
#ifndef HOST_HOSTSTRINGS_H
#define HOST_HOSTSTRINGS_H

#include <string>

/// Rewrites a text in place into the form that the signalling server accepts as one field of a
/// comma-separated request.
void prepareElemStringFieldForSvr(std::string& field);

/// Encodes bytes as base64: the standard alphabet, padded, without line breaks.
/// @param bytes  what to encode; may be null when `length` is 0.
/// @param length number of bytes.
std::string base64_encode(const unsigned char* bytes, unsigned int length);

#endif
