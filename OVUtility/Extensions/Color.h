// ov::Color: an RGBA colour value (components 0...1, sRGB), the foreground
// colour attribute of attributed strings.
//
//   auto accent = ov::Color::fromRGB(0x1DB954);       // opaque, from 0xRRGGBB
//   auto dimmed = accent.withAlpha(0.5);
//   auto text   = ov::strings::attributed("Now playing", font, ov::Color::black());
//
// Components are stored as given (clamped to 0...1 by the factories); two
// colours are equal when all four components are.
#pragma once

#include <algorithm>
#include <cstdint>
#include <ostream>

namespace ov {

struct Color {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    static constexpr Color rgba(double r, double g, double b, double a = 1) {
        return Color{clamp(r), clamp(g), clamp(b), clamp(a)};
    }
    // 0xRRGGBB, opaque.
    static constexpr Color fromRGB(std::uint32_t rgb) {
        return Color{((rgb >> 16) & 0xFF) / 255.0, ((rgb >> 8) & 0xFF) / 255.0,
                     (rgb & 0xFF) / 255.0, 1};
    }
    static constexpr Color black() { return Color{0, 0, 0, 1}; }
    static constexpr Color white() { return Color{1, 1, 1, 1}; }
    static constexpr Color clear() { return Color{0, 0, 0, 0}; }

    constexpr Color withAlpha(double a) const { return Color{red, green, blue, clamp(a)}; }

    friend bool operator==(const Color&, const Color&) = default;
    friend std::ostream& operator<<(std::ostream& os, const Color& c) {
        return os << "rgba(" << c.red << ", " << c.green << ", " << c.blue << ", " << c.alpha
                  << ")";
    }

  private:
    // NaN becomes 0 so that a bad component can never poison comparisons.
    static constexpr double clamp(double v) { return v >= 0 ? std::min(v, 1.0) : 0.0; }
};

}  // namespace ov
