#include "OVUtility/Localization/PseudoLocalizationFilter.h"

#include <array>
#include <cerrno>
#include <mutex>
#include <vector>

#include <sys/random.h>

#include <unicode/utf8.h>

#include "OVUtility/Extensions/UnicodeSupport.h"
#include "OVUtility/Platform/Fatal.h"
#include "OVUtility/Platform/UserDefaults.h"

namespace ov {

namespace {

// Uniform draws from the kernel's secure random source, fetched in blocks.
class SecureRandom {
  public:
    uint32_t uniform(uint32_t bound) {
        // Rejection sampling keeps the draw uniform.
        const uint32_t limit = UINT32_MAX - (UINT32_MAX % bound);
        for (;;) {
            uint32_t value = next();
            if (value < limit) return value % bound;
        }
    }

  private:
    uint32_t next() {
        if (index_ == buffer_.size()) refill();
        return buffer_[index_++];
    }
    void refill() {
        auto* bytes = reinterpret_cast<char*>(buffer_.data());
        size_t wanted = sizeof(buffer_);
        size_t got = 0;
        while (got < wanted) {
            ssize_t n = getrandom(bytes + got, wanted - got, 0);
            if (n < 0) {
                if (errno == EINTR) continue;
                fatal("PseudoLocalizationFilter: the secure random source failed");
            }
            got += static_cast<size_t>(n);
        }
        index_ = 0;
    }
    std::array<uint32_t, 64> buffer_{};
    size_t index_ = buffer_.size();
};

// The 26 look-alike capitals as separate UTF-8 sequences.
const std::vector<std::string_view>& lookAlikes() {
    static const std::vector<std::string_view> letters = [] {
        std::vector<std::string_view> out;
        auto text = PseudoLocalizationFilter::kLookAlikeCapitals;
        int32_t i = 0;
        const auto length = static_cast<int32_t>(text.size());
        while (i < length) {
            int32_t start = i;
            UChar32 c;
            U8_NEXT(reinterpret_cast<const uint8_t*>(text.data()), i, length, c);
            out.push_back(text.substr(static_cast<size_t>(start), static_cast<size_t>(i - start)));
        }
        return out;
    }();
    return letters;
}

std::mutex& sharedMutex() {
    static std::mutex mutex;
    return mutex;
}

std::optional<PseudoLocalizationFilter>& sharedSlot() {
    static std::optional<PseudoLocalizationFilter> slot;
    return slot;
}

}  // namespace

PseudoLocalizationFilter PseudoLocalizationFilter::fromUserDefaults(const UserDefaults& defaults) {
    return PseudoLocalizationFilter(defaults.integer(kUserDefaultsKey));
}

PseudoLocalizationFilter PseudoLocalizationFilter::shared() {
    std::lock_guard lock(sharedMutex());
    auto& slot = sharedSlot();
    if (!slot) slot = fromUserDefaults(*UserDefaults::standard());
    return *slot;
}

void PseudoLocalizationFilter::setShared(PseudoLocalizationFilter filter) {
    std::lock_guard lock(sharedMutex());
    sharedSlot() = filter;
}

std::string PseudoLocalizationFilter::apply(std::string_view text) const {
    if (!percent_) return std::string(text);
    // Ill-formed UTF-8 is written (and counted) as repaired: one U+FFFD per
    // bad sequence, so the output is always valid UTF-8.
    std::string storage;
    const std::string_view valid = detail::repairedUtf8(text, storage);
    std::string out = "[#";
    out.append(valid);
    const size_t characters = detail::graphemeBoundaries(valid).size() - 1;
    if (*percent_ > 0) {
        thread_local SecureRandom random;
        const auto& letters = lookAlikes();
        for (size_t i = 0; i < characters; ++i) {
            if (static_cast<long long>(random.uniform(100)) < *percent_) {
                out.append(letters[random.uniform(static_cast<uint32_t>(letters.size()))]);
            }
        }
    }
    out.append("#]");
    return out;
}

}  // namespace ov
