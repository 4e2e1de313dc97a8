// MD5 (RFC 1321) and SHA-1 (FIPS 180): the digests of hash() and hashbytes().
//
// Pure functions.
#pragma once

#include "drivers/embedded/store/cell.h"

namespace kelvane::embedded {

/// 16 bytes.
Blob md5(const Blob& bytes);
/// 20 bytes.
Blob sha1(const Blob& bytes);

}  // namespace kelvane::embedded
