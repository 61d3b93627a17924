#include "OVUtility/Platform/StringFormat.h"

#include <map>
#include <optional>

#include <fmt/printf.h>

namespace ov {

namespace {

// One conversion directive found in a format.
struct Directive {
    size_t begin = 0;             // offset of '%'
    size_t end = 0;               // one past the conversion character
    std::optional<int> position;  // 1-based, for "%N$"
    std::string flags;
    std::string width;
    std::string precision;  // including the '.'
    char conversion = 0;
};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Parses the directive starting at format[i] == '%'. Returns no value
// when it is not a conversion we understand (copied literally then).
std::optional<Directive> parseDirective(std::string_view format, size_t i) {
    Directive directive;
    directive.begin = i;
    size_t p = i + 1;
    // Positional "N$".
    size_t digits = p;
    while (digits < format.size() && isDigit(format[digits])) ++digits;
    if (digits > p && digits < format.size() && format[digits] == '$') {
        int n = 0;
        for (size_t k = p; k < digits && n < 100000; ++k) n = n * 10 + (format[k] - '0');
        if (n == 0 || n > 99) return std::nullopt;
        directive.position = n;
        p = digits + 1;
    }
    while (p < format.size() &&
           std::string_view("-+ #0'").find(format[p]) != std::string_view::npos) {
        if (format[p] != '\'') directive.flags.push_back(format[p]);
        ++p;
    }
    while (p < format.size() && isDigit(format[p]) && directive.width.size() < 4)
        directive.width.push_back(format[p++]);
    if (p < format.size() && format[p] == '.') {
        directive.precision.push_back('.');
        ++p;
        while (p < format.size() && isDigit(format[p]) && directive.precision.size() < 5)
            directive.precision.push_back(format[p++]);
    }
    while (p < format.size() &&
           std::string_view("hlqztjL").find(format[p]) != std::string_view::npos)
        ++p;
    if (p >= format.size()) return std::nullopt;
    char c = format[p];
    if (std::string_view("@sdiuxXocfeEgG").find(c) == std::string_view::npos) return std::nullopt;
    directive.conversion = c;
    directive.end = p + 1;
    return directive;
}

bool takesText(char conversion) {
    return conversion == '@' || conversion == 's';
}

std::string render(const Directive& directive, const FormatArgument& argument) {
    std::string printfSpec = "%" + directive.flags + directive.width + directive.precision;
    if (takesText(directive.conversion)) {
        std::string text = argument.text() ? *argument.text() : std::to_string(*argument.integer());
        if (directive.flags.empty() && directive.width.empty() && directive.precision.empty())
            return text;
        return fmt::sprintf(printfSpec + "s", text);
    }
    if (const std::string* text = argument.text()) return *text;
    long long value = *argument.integer();
    switch (directive.conversion) {
        case 'f':
        case 'e':
        case 'E':
        case 'g':
        case 'G':
            return fmt::sprintf(printfSpec + directive.conversion, static_cast<double>(value));
        case 'c':
            return fmt::sprintf(printfSpec + "c", static_cast<char>(value));
        case 'u':
        case 'x':
        case 'X':
        case 'o':
            return fmt::sprintf(printfSpec + directive.conversion,
                                static_cast<unsigned long long>(value));
        default:
            return fmt::sprintf(printfSpec + "d", value);
    }
}

}  // namespace

std::string formatString(std::string_view format, const std::vector<FormatArgument>& arguments) {
    std::string out;
    out.reserve(format.size() + 16);
    size_t next = 0;  // next sequential argument
    size_t i = 0;
    while (i < format.size()) {
        char c = format[i];
        if (c != '%') {
            out.push_back(c);
            ++i;
            continue;
        }
        if (i + 1 < format.size() && format[i + 1] == '%') {
            out.push_back('%');
            i += 2;
            continue;
        }
        auto directive = parseDirective(format, i);
        if (!directive) {
            out.push_back('%');
            ++i;
            continue;
        }
        size_t index = directive->position ? static_cast<size_t>(*directive->position - 1) : next++;
        if (index < arguments.size()) out += render(*directive, arguments[index]);
        i = directive->end;
    }
    return out;
}

std::vector<std::string> formatPlaceholders(std::string_view format) {
    std::map<int, std::string> positional;
    std::vector<std::string> sequential;
    for (size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%') continue;
        if (i + 1 < format.size() && format[i + 1] == '%') {
            ++i;
            continue;
        }
        auto directive = parseDirective(format, i);
        if (!directive) continue;
        std::string kind = takesText(directive->conversion) ? "@" : "d";
        if (directive->position) {
            positional[*directive->position] = kind;
        } else {
            sequential.push_back(kind);
        }
        i = directive->end - 1;
    }
    for (const auto& [position, kind] : positional) {
        if (static_cast<size_t>(position) > sequential.size()) sequential.resize(position);
        sequential[position - 1] = kind;
    }
    return sequential;
}

}  // namespace ov
