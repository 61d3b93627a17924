// ov::Point and ov::Size: the plain geometry values of text measurement, in
// typographic points (1/72 inch), as doubles and never rounded.
//
//   ov::Size box{320, ov::Size::unlimited};   // 320 pt wide, any height
//   ov::Size used = ov::nsstring::textSizeWithFont(text, font, box);
//
// `Size::unlimited` (the largest finite double) is how a caller says "no
// limit" in one dimension, as the platform's greatest finite magnitude did.
#pragma once

#include <limits>
#include <ostream>

namespace ov {

struct Point {
    double x = 0;
    double y = 0;

    friend bool operator==(const Point&, const Point&) = default;
    friend std::ostream& operator<<(std::ostream& os, const Point& p) {
        return os << "{" << p.x << ", " << p.y << "}";
    }
};

struct Size {
    static constexpr double unlimited = std::numeric_limits<double>::max();

    double width = 0;
    double height = 0;

    friend bool operator==(const Size&, const Size&) = default;
    friend std::ostream& operator<<(std::ostream& os, const Size& s) {
        return os << "{" << s.width << ", " << s.height << "}";
    }
};

}  // namespace ov
