// Compressed texts: whole, and in pieces that make one compressed text when they are put together.
#ifndef PIS_SERVICE_GZIP_H
#define PIS_SERVICE_GZIP_H

#include <cstddef>
#include <string>
#include <string_view>

namespace pis::service {

/// A whole text, compressed quickly rather than small. @throws std::bad_alloc
std::string gzipped(std::string_view plain);

/// What stands before the pieces.
std::string gzipBegin();

/// One piece, which looks back at no other: pieces may be made in any order and be sent to many.
/// @throws std::bad_alloc
std::string deflated(std::string_view plain);

/// What stands behind the pieces.
/// @param checksum CRC-32 of all pieces' plain text, of `size` bytes.
std::string gzipEnd(unsigned long checksum, std::size_t size);

}  // namespace pis::service

#endif
