// ov::makeUUIDString(): a fresh random (version 4, RFC 4122) UUID in the
// platform's upper-case text form, e.g. "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
// Task identifiers are a fixed prefix followed by one of these.
//
//   std::string id = "--standard-task-" + ov::makeUUIDString();
//
// The 122 random bits come from OpenSSL's DRBG (RAND_bytes), which keeps its
// state per thread, so generating ids from many threads does not contend.
#pragma once

#include <string>
#include <string_view>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

OV_API std::string makeUUIDString();

// Appends a fresh UUID string to `prefix` (one allocation for the whole id).
OV_API std::string makeIdentifier(std::string_view prefix);

}  // namespace ov
