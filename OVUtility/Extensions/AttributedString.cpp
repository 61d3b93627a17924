#include "OVUtility/Extensions/AttributedString.h"

#include <algorithm>

#include <unicode/utf8.h>

#include "OVLog/OVLog.h"

namespace ov {

namespace {
ovlog::Module& kModule = ovlog::Module::named("TextMeasurement");
}

void TextAttributes::merge(const TextAttributes& other) {
    if (other.font) font = other.font;
    if (other.foregroundColor) foregroundColor = other.foregroundColor;
    if (other.paragraphStyle) paragraphStyle = other.paragraphStyle;
}

AttributedString::AttributedString(std::string text, TextAttributes attributes)
    : text_(std::move(text)) {
    if (!text_.empty()) runs_.push_back(Run{{0, text_.size()}, std::move(attributes)});
}

TextAttributes AttributedString::attributes(std::size_t index, TextRange* effectiveRange) const {
    auto it = std::upper_bound(runs_.begin(), runs_.end(), index,
                               [](std::size_t i, const Run& r) { return i < r.range.end(); });
    if (it == runs_.end()) {
        if (effectiveRange) *effectiveRange = {text_.size(), 0};
        return {};
    }
    if (effectiveRange) *effectiveRange = it->range;
    return it->attributes;
}

TextRange AttributedString::validated(TextRange range, const char* function) const {
    const std::size_t size = text_.size();
    std::size_t start = std::min(range.location, size);
    std::size_t end = range.length > size - start ? size : start + range.length;
    if (range.location > size || range.length > size - std::min(range.location, size)) {
        OVLOG_WARNING(kModule,
                      "{}: range {{{}, {}}} is out of bounds for length {}; clamped to {{{}, {}}}",
                      function, range.location, range.length, size, start, end - start);
    }
    // Widen to whole code points.
    const auto* bytes = reinterpret_cast<const uint8_t*>(text_.data());
    const int32_t length = static_cast<int32_t>(size);
    if (start < size) {
        int32_t s = static_cast<int32_t>(start);
        U8_SET_CP_START(bytes, 0, s);
        start = static_cast<std::size_t>(s);
    }
    if (end > 0 && end < size) {
        int32_t e = static_cast<int32_t>(end);
        U8_SET_CP_LIMIT(bytes, 0, e, length);
        end = static_cast<std::size_t>(e);
    }
    return {start, end - start};
}

std::size_t AttributedString::splitAt(std::size_t position) {
    for (std::size_t i = 0; i < runs_.size(); ++i) {
        Run& run = runs_[i];
        if (run.range.location == position) return i;
        if (position > run.range.location && position < run.range.end()) {
            Run tail{{position, run.range.end() - position}, run.attributes};
            run.range.length = position - run.range.location;
            runs_.insert(runs_.begin() + static_cast<std::ptrdiff_t>(i) + 1, std::move(tail));
            return i + 1;
        }
    }
    return runs_.size();
}

void AttributedString::coalesce() {
    std::vector<Run> merged;
    merged.reserve(runs_.size());
    for (auto& run : runs_) {
        if (run.range.length == 0) continue;
        if (!merged.empty() && merged.back().attributes == run.attributes) {
            merged.back().range.length += run.range.length;
        } else {
            merged.push_back(std::move(run));
        }
    }
    runs_ = std::move(merged);
}

void AttributedString::setAttributes(const TextAttributes& attributes, TextRange range) {
    range = validated(range, "setAttributes");
    if (range.length == 0) return;
    std::size_t first = splitAt(range.location);
    std::size_t last = splitAt(range.end());
    for (std::size_t i = first; i < last; ++i) runs_[i].attributes = attributes;
    coalesce();
}

void AttributedString::addAttributes(const TextAttributes& attributes, TextRange range) {
    range = validated(range, "addAttributes");
    if (range.length == 0) return;
    std::size_t first = splitAt(range.location);
    std::size_t last = splitAt(range.end());
    for (std::size_t i = first; i < last; ++i) runs_[i].attributes.merge(attributes);
    coalesce();
}

void AttributedString::append(const AttributedString& other) {
    const std::size_t offset = text_.size();
    text_ += other.text_;
    for (Run run : other.runs_) {
        run.range.location += offset;
        runs_.push_back(std::move(run));
    }
    coalesce();
}

void AttributedString::append(std::string_view text) {
    if (text.empty()) return;
    TextAttributes last = runs_.empty() ? TextAttributes{} : runs_.back().attributes;
    const std::size_t offset = text_.size();
    text_.append(text);
    runs_.push_back(Run{{offset, text.size()}, std::move(last)});
    coalesce();
}

}  // namespace ov
