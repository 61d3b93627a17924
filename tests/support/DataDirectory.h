// Test helper: the project's sample data directory (data/ at the repository
// root), found from this header's own location so that tests do not depend on
// the working directory.
#pragma once

#include <filesystem>

namespace ovtest {

inline std::filesystem::path dataDirectory() {
    return std::filesystem::path(__FILE__).parent_path().parent_path().parent_path() / "data";
}

}  // namespace ovtest
