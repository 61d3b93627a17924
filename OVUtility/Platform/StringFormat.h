// ov::formatString: fills a format in the platform's printf style, as used by
// localised texts, with text and integer arguments.
//
//   ov::formatString("%d Artists", {12});                         // "12 Artists"
//   ov::formatString("Check out %@ by %@", {"Song", "Band"});
//   ov::formatString("%2$@ sings %1$@", {"Song", "Band"});        // positional
//
// Conversions: %@ and %s take a text; %d %i %u %x %X %o %c take an integer
// (length modifiers h hh l ll q z t j are accepted and ignored); %f %e %g
// take an integer as a number; %% is a percent sign. Flags (- + space # 0),
// a width and a precision are honoured (formatting goes through fmt's printf).
// Positional forms "%N$" pick argument N (1-based); plain conversions take
// the arguments in order.
//
// Never throws: an integer for %@ is written in decimal, a text for an
// integer conversion is inserted as it is, a conversion without an argument
// becomes empty, and an unknown conversion is copied literally.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

class OV_API FormatArgument {
  public:
    FormatArgument(std::string_view text) : value_(std::string(text)) {}
    FormatArgument(const std::string& text) : value_(text) {}
    FormatArgument(const char* text) : value_(std::string(text ? text : "")) {}
    template <typename I, typename = std::enable_if_t<std::is_integral_v<I>>>
    FormatArgument(I integer) : value_(static_cast<long long>(integer)) {}

    bool isText() const { return std::holds_alternative<std::string>(value_); }
    const std::string* text() const { return std::get_if<std::string>(&value_); }
    const long long* integer() const { return std::get_if<long long>(&value_); }

  private:
    std::variant<std::string, long long> value_;
};

OV_API std::string formatString(std::string_view format,
                                const std::vector<FormatArgument>& arguments);

// The placeholders of a format, in order, as the conversion characters that
// matter for argument types ("@" for a text, "d" for an integer), e.g.
// "CheckOutSongBy %@ %@" -> {"@", "@"}. Positional forms are reported in
// argument order. Used to compare a translation against its key.
OV_API std::vector<std::string> formatPlaceholders(std::string_view format);

}  // namespace ov
