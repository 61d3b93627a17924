// ov::Font: a font value — a family name (looked up with fontconfig) or a
// font file, at a point size. It is a plain value: cheap to copy, compared by
// what it names, and it loads nothing itself. The first time a font is
// measured (or its metrics asked for) the face is found, read with FreeType
// and handed to HarfBuzz; faces are then cached for the life of the process
// and shared by every thread, so naming the same font again costs a lookup.
//
//   auto body  = ov::Font::named("DejaVu Sans", 15);
//   auto mono  = ov::Font::fromFile("/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf", 13);
//   auto plain = ov::Font::systemFont(17);           // the "sans-serif" family
//   double lh  = body.lineHeight();                  // ascender + descender + leading
//
// Bad input never fails: a point size that is not a positive finite number
// becomes `defaultPointSize`; a family that is not installed resolves to
// fontconfig's best substitute; a file that cannot be read falls back to the
// system family (both with a log line). Metrics are in points, unrounded.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "OVUtility/OVUtilityExport.h"

namespace ov {

// Vertical metrics of a font at its point size, in points.
struct FontMetrics {
    double ascender = 0;    // above the baseline, positive
    double descender = 0;   // below the baseline, negative
    double leading = 0;     // extra space the font asks for between lines
    double lineHeight = 0;  // ascender - descender + leading
    // What the font resolved to: family name and file ("" when no font at all
    // could be loaded and the built-in empty face is used).
    std::string familyName;
    std::string file;
};

class OV_API Font {
  public:
    static constexpr double defaultPointSize = 12;
    // The family that `systemFont` asks fontconfig for.
    static constexpr const char* systemFamily = "sans-serif";

    // The system family at `defaultPointSize` (what text without a font
    // attribute is measured with).
    Font();

    static Font named(std::string family, double pointSize);
    static Font fromFile(std::string path, double pointSize, int faceIndex = 0);
    static Font systemFont(double pointSize);

    // Exactly one of family() and file() is non-empty.
    const std::string& family() const { return family_; }
    const std::string& file() const { return file_; }
    int faceIndex() const { return faceIndex_; }
    double pointSize() const { return pointSize_; }

    Font withSize(double pointSize) const;

    // Loads (or finds in the cache) the face; never fails, see above.
    FontMetrics metrics() const;
    double lineHeight() const { return metrics().lineHeight; }

    friend bool operator==(const Font&, const Font&) = default;
    friend OV_API std::ostream& operator<<(std::ostream& os, const Font& f);

  private:
    Font(std::string family, std::string file, int faceIndex, double pointSize);

    std::string family_;
    std::string file_;
    int faceIndex_ = 0;
    double pointSize_ = defaultPointSize;
};

}  // namespace ov
