#include "OVUtility/Extensions/Font.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <utility>

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include <hb.h>

#include "OVLog/OVLog.h"
#include "OVUtility/Extensions/FontFace.h"

namespace ov {

namespace {
ovlog::Module& kModule = ovlog::Module::named("TextMeasurement");

double sanitizedSize(double pointSize) {
    if (std::isfinite(pointSize) && pointSize > 0) return pointSize;
    OVLOG_WARNING(kModule, "invalid font point size {}; using {}", pointSize,
                  Font::defaultPointSize);
    return Font::defaultPointSize;
}
}  // namespace

Font::Font() : family_(systemFamily) {}

Font::Font(std::string family, std::string file, int faceIndex, double pointSize)
    : family_(std::move(family)),
      file_(std::move(file)),
      faceIndex_(faceIndex < 0 ? 0 : faceIndex),
      pointSize_(sanitizedSize(pointSize)) {}

Font Font::named(std::string family, double pointSize) {
    if (family.empty()) family = systemFamily;
    return Font(std::move(family), {}, 0, pointSize);
}

Font Font::fromFile(std::string path, double pointSize, int faceIndex) {
    if (path.empty()) return systemFont(pointSize);
    return Font({}, std::move(path), faceIndex, pointSize);
}

Font Font::systemFont(double pointSize) {
    return Font(systemFamily, {}, 0, pointSize);
}

Font Font::withSize(double pointSize) const {
    Font copy = *this;
    copy.pointSize_ = sanitizedSize(pointSize);
    return copy;
}

FontMetrics Font::metrics() const {
    auto face = detail::FontFace::forFont(*this);
    const double s = face->scale(pointSize_);
    FontMetrics m;
    m.ascender = face->ascender() * s;
    m.descender = face->descender() * s;
    m.leading = face->lineGap() * s;
    m.lineHeight = face->lineHeight(pointSize_);
    m.familyName = face->familyName();
    m.file = face->file();
    return m;
}

std::ostream& operator<<(std::ostream& os, const Font& f) {
    if (!f.file_.empty())
        os << "Font(file: " << f.file_ << "#" << f.faceIndex_;
    else
        os << "Font(family: " << f.family_;
    return os << ", size: " << f.pointSize_ << ")";
}

namespace detail {

// The process-wide table of loaded faces. Created on first use and never
// destroyed (faces may be used from any thread until the process ends).
class FontLibrary {
  public:
    static FontLibrary& shared() {
        static FontLibrary* library = new FontLibrary();
        return *library;
    }

    std::shared_ptr<const FontFace> forFont(const Font& font) {
        {
            // Fast path, shared: the face was looked up before.
            std::shared_lock lock(mutex_);
            if (!font.file().empty()) {
                if (auto it = files_.find(fileKey(font.file(), font.faceIndex()));
                    it != files_.end())
                    return it->second;
            } else if (auto it = families_.find(font.family()); it != families_.end()) {
                return it->second;
            }
        }
        std::lock_guard lock(mutex_);
        if (!font.file().empty()) return fileFontLocked(font.file(), font.faceIndex());
        return familyFontLocked(font.family());
    }

    std::shared_ptr<const FontFace> fallbackFor(const FontFace& primary, char32_t codePoint) {
        auto key = std::make_pair(&primary, codePoint);
        {
            std::shared_lock lock(mutex_);
            if (auto it = fallbacks_.find(key); it != fallbacks_.end()) return it->second;
        }
        std::lock_guard lock(mutex_);
        if (auto it = fallbacks_.find(key); it != fallbacks_.end()) return it->second;
        std::shared_ptr<const FontFace> found = findFallbackLocked(primary, codePoint);
        fallbacks_.emplace(key, found);
        return found;
    }

  private:
    FontLibrary() {
        if (FT_Init_FreeType(&freetype_) != 0) {
            OVLOG_ERROR(kModule, "FreeType could not be initialised; text measures as empty");
            freetype_ = nullptr;
        }
        if (!FcInit()) OVLOG_ERROR(kModule, "fontconfig could not be initialised");
        empty_ = std::shared_ptr<FontFace>(new FontFace());
        empty_->face_ = hb_face_get_empty();
        empty_->font_ = hb_font_get_empty();
    }

    static std::string fileKey(const std::string& path, int index) {
        return path + '\0' + std::to_string(index);
    }

    // Reads a face with FreeType (metrics) and hands the same file to
    // HarfBuzz (shaping). Null with `error` set when either refuses it.
    std::shared_ptr<FontFace> loadLocked(const std::string& path, int index, std::string& error) {
        if (!freetype_) {
            error = "FreeType is not available";
            return nullptr;
        }
        FT_Face ftFace = nullptr;
        if (FT_Error e = FT_New_Face(freetype_, path.c_str(), index, &ftFace); e != 0) {
            const char* text = FT_Error_String(e);
            error = text ? text : "FreeType error " + std::to_string(e);
            return nullptr;
        }
        if (!FT_IS_SCALABLE(ftFace) || ftFace->units_per_EM == 0) {
            FT_Done_Face(ftFace);
            error = "not a scalable font";
            return nullptr;
        }
        auto face = std::shared_ptr<FontFace>(new FontFace());
        face->unitsPerEm_ = ftFace->units_per_EM;
        face->ascender_ = ftFace->ascender;
        face->descender_ = ftFace->descender;
        face->lineGap_ =
            std::max(0.0, double(ftFace->height) - (ftFace->ascender - ftFace->descender));
        face->familyName_ = ftFace->family_name ? ftFace->family_name : "";
        face->file_ = path;
        face->index_ = index;
        FT_Done_Face(ftFace);

        hb_blob_t* blob = hb_blob_create_from_file_or_fail(path.c_str());
        if (!blob) {
            error = "HarfBuzz could not read the file";
            return nullptr;
        }
        face->face_ = hb_face_create(blob, static_cast<unsigned>(index));
        hb_blob_destroy(blob);
        hb_face_make_immutable(face->face_);
        face->font_ = hb_font_create(face->face_);  // scale defaults to units per em
        hb_font_make_immutable(face->font_);
        return face;
    }

    std::shared_ptr<const FontFace> fileFontLocked(const std::string& path, int index) {
        const std::string key = fileKey(path, index);
        if (auto it = files_.find(key); it != files_.end()) return it->second;
        std::string error;
        std::shared_ptr<const FontFace> face = loadLocked(path, index, error);
        if (!face) {
            OVLOG_WARNING(kModule, "could not load font file \"{}\" (face {}): {}; using \"{}\"",
                          path, index, error, Font::systemFamily);
            face = familyFontLocked(Font::systemFamily);
        }
        files_.emplace(key, face);
        return face;
    }

    // Asks fontconfig for the best match of `pattern` (family, charset...)
    // and returns its file and index.
    static bool matchLocked(FcPattern* pattern, std::string& file, int& index,
                            std::string& family) {
        FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
        FcDefaultSubstitute(pattern);
        FcResult result = FcResultNoMatch;
        FcPattern* match = FcFontMatch(nullptr, pattern, &result);
        if (!match) return false;
        FcChar8* path = nullptr;
        FcChar8* name = nullptr;
        bool ok = FcPatternGetString(match, FC_FILE, 0, &path) == FcResultMatch && path;
        if (ok) {
            file = reinterpret_cast<const char*>(path);
            if (FcPatternGetInteger(match, FC_INDEX, 0, &index) != FcResultMatch) index = 0;
            if (FcPatternGetString(match, FC_FAMILY, 0, &name) == FcResultMatch && name)
                family = reinterpret_cast<const char*>(name);
        }
        FcPatternDestroy(match);
        return ok;
    }

    std::shared_ptr<const FontFace> familyFontLocked(const std::string& family) {
        if (auto it = families_.find(family); it != families_.end()) return it->second;
        std::shared_ptr<const FontFace> face;
        FcPattern* pattern = FcPatternCreate();
        FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
        std::string file, matchedFamily;
        int index = 0;
        if (pattern && matchLocked(pattern, file, index, matchedFamily)) {
            const std::string key = fileKey(file, index);
            if (auto it = files_.find(key); it != files_.end()) {
                face = it->second;
            } else {
                std::string error;
                face = loadLocked(file, index, error);
                if (face)
                    files_.emplace(key, face);
                else
                    OVLOG_WARNING(kModule, "could not load \"{}\" for family \"{}\": {}", file,
                                  family, error);
            }
            if (face && matchedFamily != family && family != Font::systemFamily)
                OVLOG_DEBUG(kModule, "font family \"{}\" is not installed; using \"{}\"", family,
                            matchedFamily);
        }
        if (pattern) FcPatternDestroy(pattern);
        if (!face) {
            if (family != Font::systemFamily) {
                face = familyFontLocked(Font::systemFamily);
            } else {
                OVLOG_ERROR(kModule, "no usable font found; text measures with an empty face");
                face = empty_;
            }
        }
        families_.emplace(family, face);
        return face;
    }

    std::shared_ptr<const FontFace> findFallbackLocked(const FontFace& primary,
                                                       char32_t codePoint) {
        std::shared_ptr<const FontFace> found;
        FcPattern* pattern = FcPatternCreate();
        FcCharSet* charset = FcCharSetCreate();
        if (pattern && charset) {
            if (!primary.familyName().empty())
                FcPatternAddString(pattern, FC_FAMILY,
                                   reinterpret_cast<const FcChar8*>(primary.familyName().c_str()));
            FcCharSetAddChar(charset, codePoint);
            FcPatternAddCharSet(pattern, FC_CHARSET, charset);
            FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
            FcDefaultSubstitute(pattern);
            FcResult result = FcResultNoMatch;
            // In preference order; the first font that covers the character wins.
            FcFontSet* set = FcFontSort(nullptr, pattern, FcTrue, nullptr, &result);
            for (int i = 0; set && i < set->nfont && !found; ++i) {
                FcCharSet* fontChars = nullptr;
                FcChar8* path = nullptr;
                int index = 0;
                if (FcPatternGetCharSet(set->fonts[i], FC_CHARSET, 0, &fontChars) !=
                        FcResultMatch ||
                    !FcCharSetHasChar(fontChars, codePoint))
                    continue;
                if (FcPatternGetString(set->fonts[i], FC_FILE, 0, &path) != FcResultMatch || !path)
                    continue;
                if (FcPatternGetInteger(set->fonts[i], FC_INDEX, 0, &index) != FcResultMatch)
                    index = 0;
                const std::string file = reinterpret_cast<const char*>(path);
                const std::string key = fileKey(file, index);
                std::shared_ptr<const FontFace> candidate;
                if (auto it = files_.find(key); it != files_.end()) {
                    candidate = it->second;
                } else {
                    std::string error;
                    auto loaded = loadLocked(file, index, error);
                    if (loaded) files_.emplace(key, loaded);
                    candidate = loaded;
                }
                if (candidate && candidate->hasGlyph(codePoint)) found = candidate;
            }
            if (set) FcFontSetDestroy(set);
        }
        if (charset) FcCharSetDestroy(charset);
        if (pattern) FcPatternDestroy(pattern);
        return found;
    }

    std::shared_mutex mutex_;  // guards the three tables and every fontconfig/FreeType call
    FT_Library freetype_ = nullptr;
    std::shared_ptr<FontFace> empty_;
    std::unordered_map<std::string, std::shared_ptr<const FontFace>> files_;
    std::unordered_map<std::string, std::shared_ptr<const FontFace>> families_;
    std::map<std::pair<const FontFace*, char32_t>, std::shared_ptr<const FontFace>> fallbacks_;
};

FontFace::~FontFace() {
    if (font_) hb_font_destroy(font_);
    if (face_) hb_face_destroy(face_);
}

std::shared_ptr<const FontFace> FontFace::forFont(const Font& font) {
    return FontLibrary::shared().forFont(font);
}

std::shared_ptr<const FontFace> FontFace::fallbackFor(char32_t codePoint) const {
    return FontLibrary::shared().fallbackFor(*this, codePoint);
}

bool FontFace::hasGlyph(char32_t codePoint) const {
    hb_codepoint_t glyph = 0;
    return hb_font_get_nominal_glyph(font_, codePoint, &glyph) && glyph != 0;
}

}  // namespace detail
}  // namespace ov
