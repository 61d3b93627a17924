// Test helper: the project's sample data directory (data/ at the repository
// root). The build passes the source directory in (OV_TEST_SOURCE_DIR), so
// tests depend neither on the working directory nor on how the compiler
// spells this header's path.
#pragma once

#include <filesystem>

namespace ovtest {

inline std::filesystem::path dataDirectory() {
    return std::filesystem::path(OV_TEST_SOURCE_DIR) / "data";
}

}  // namespace ovtest
