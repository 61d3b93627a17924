#include "OVUtility/Platform/CallStack.h"

#include <execinfo.h>

#include <cstdlib>

namespace ov {

std::string callStackSymbols() {
    void* frames[64];
    int count = ::backtrace(frames, 64);
    char** symbols = ::backtrace_symbols(frames, count);
    std::string text = "[";
    for (int i = 0; i < count; ++i) {
        if (i > 0) text += ", ";
        text += '"';
        text += std::to_string(i);
        text += "   ";
        text += symbols ? symbols[i] : "?";
        text += '"';
    }
    text += "]";
    std::free(symbols);
    return text;
}

}  // namespace ov
