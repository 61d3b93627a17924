// ovutil's verb registry. Each verb lives in its own file and registers itself
// with a static `ovutil::VerbRegistration`; main() dispatches on argv[1].
//
//   static ovutil::VerbRegistration reg{"demo", "show the task scheduler at work", &runDemo};
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ovutil {

using VerbFunction = std::function<int(const std::vector<std::string>& args)>;

struct Verb {
    std::string name;
    std::string summary;
    VerbFunction run;
};

std::map<std::string, Verb>& verbs();

struct VerbRegistration {
    VerbRegistration(std::string name, std::string summary, VerbFunction run) {
        std::string key = name;
        verbs()[key] = Verb{std::move(name), std::move(summary), std::move(run)};
    }
};

// Directory of the sample data that ships with the project.
std::string dataDirectory();

}  // namespace ovutil
