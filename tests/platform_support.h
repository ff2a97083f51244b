// Helpers for the white-box tests of the platform layer and the stream buffers.
#pragma once

#include "platform/file.h"

namespace qel_test {

inline qel::platform::file_access
access_of(bool read, bool write, qel::platform::file_disposition disposition, bool append = false) {
    qel::platform::file_access access;
    access.read = read;
    access.write = write;
    access.append = append;
    access.disposition = disposition;
    return access;
}

} // namespace qel_test
