// ov::detail::FontFace: a loaded font face shared by text measurement. This
// header is internal to the library's text code (Font.cpp, TextMeasurement.cpp);
// applications use ov::Font.
//
// A face is found once (fontconfig for families, the path for files), its
// metrics are read once with FreeType, and it is handed to HarfBuzz as an
// immutable hb_font_t whose scale is the face's units per em. Point sizes are
// applied by the caller (advance * pointSize / unitsPerEm), so one face serves
// every size and widths stay unrounded. HarfBuzz caches shaping plans on the
// face, and faces live for the process, so plans are built once per face and
// set of segment properties.
//
// Everything here is thread-safe: hb_font_t is immutable after loading, and
// the face table and fallback lookups sit behind one reader/writer lock
// (lookups of faces already loaded only share it).
#pragma once

#include <memory>
#include <string>

struct hb_font_t;
struct hb_face_t;

namespace ov {
class Font;
}

namespace ov::detail {

class FontFace {
  public:
    ~FontFace();
    FontFace(const FontFace&) = delete;
    FontFace& operator=(const FontFace&) = delete;

    // The face for a font value: never null (the built-in empty face when no
    // font could be loaded at all, which measures every glyph as zero wide).
    static std::shared_ptr<const FontFace> forFont(const Font& font);

    // A face that has a glyph for `codePoint` when this one does not: the
    // first font in fontconfig's preference order for this face's family that
    // covers it, or null when no installed font does (the caller then keeps
    // this face and its missing-glyph box). Answers are cached.
    std::shared_ptr<const FontFace> fallbackFor(char32_t codePoint) const;

    bool hasGlyph(char32_t codePoint) const;

    hb_font_t* hbFont() const { return font_; }
    hb_face_t* hbFace() const { return face_; }
    unsigned unitsPerEm() const { return unitsPerEm_; }
    // Points per font unit at the given size.
    double scale(double pointSize) const { return pointSize / unitsPerEm_; }

    // In font units (multiply by scale()).
    double ascender() const { return ascender_; }
    double descender() const { return descender_; }
    double lineGap() const { return lineGap_; }
    double lineHeight(double pointSize) const {
        return (ascender_ - descender_ + lineGap_) * scale(pointSize);
    }

    const std::string& familyName() const { return familyName_; }
    const std::string& file() const { return file_; }
    int index() const { return index_; }

  private:
    friend class FontLibrary;
    FontFace() = default;

    hb_face_t* face_ = nullptr;
    hb_font_t* font_ = nullptr;
    unsigned unitsPerEm_ = 1000;
    double ascender_ = 800;
    double descender_ = -200;
    double lineGap_ = 200;
    std::string familyName_;
    std::string file_;
    int index_ = 0;
};

}  // namespace ov::detail
