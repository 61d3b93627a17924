// ovutil's verb registry. Each verb lives in its own file and registers itself
// with a static `ovutil::VerbRegistration`; main() dispatches on argv[1].
//
//   static ovutil::VerbRegistration reg{"demo", "show the task scheduler at work", &runDemo};
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace ovutil {

using VerbFunction = std::function<int(const std::vector<std::string>& args)>;

struct Verb {
    std::string name;
    std::string summary;
    VerbFunction run;
    std::string usage;  // printed by `ovutil <verb> --help`
};

std::map<std::string, Verb>& verbs();

struct VerbRegistration {
    VerbRegistration(std::string name, std::string summary, VerbFunction run, std::string usage) {
        std::string key = name;
        verbs()[key] = Verb{std::move(name), std::move(summary), std::move(run), std::move(usage)};
    }
};

// Directory of the sample data that ships with the project: $OVUTIL_DATA,
// else <prefix>/share/ovutil beside an installed ovutil, else the source
// tree's data/ (a binary run from its build tree).
std::string dataDirectory();

// `text` made safe to print on a terminal: bytes that are not valid UTF-8 and
// control characters are written as \xNN escapes. Every message that carries
// outside text (arguments, file names, keys and values from files) goes
// through it.
std::string printable(std::string_view text);

// `ovutil demo` runs every registered section in order; each subsystem adds
// its own section in its own file:
//   static ovutil::DemoSectionRegistration section{20, "Task scheduler", &runSchedulerDemo};
struct DemoSection {
    int order;
    std::string title;
    std::function<void()> run;
};

std::vector<DemoSection>& demoSections();

struct DemoSectionRegistration {
    DemoSectionRegistration(int order, std::string title, std::function<void()> run) {
        demoSections().push_back(DemoSection{order, std::move(title), std::move(run)});
    }
};

// Prints one demo timeline line: "[  12.3 ms] text", time since the demo began.
void demoLine(const std::string& text);

}  // namespace ovutil
