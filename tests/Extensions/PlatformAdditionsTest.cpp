#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

#include "OVLog/CaptureSink.h"
#include "OVUtility/Extensions/AudioRoute.h"
#include "OVUtility/Extensions/Bitrate.h"
#include "OVUtility/Extensions/Device.h"
#include "OVUtility/Extensions/FileManager.h"
#include "OVUtility/Extensions/FloatingPoint.h"
#include "OVUtility/Extensions/Namespace.h"
#include "OVUtility/Extensions/ObjectCoding.h"
#include "OVUtility/Extensions/Optional.h"
#include "OVUtility/Extensions/ProductPeriodUnit.h"
#include "OVUtility/Extensions/URL.h"
#include "support/TempDirectory.h"

namespace fs = std::filesystem;

namespace {

TEST(URLAdditions, ProductLinksByExactHost) {
    const std::string env = "staging.orvanta.net";
    for (const char* url :
         {"https://www.orvanta.com/album/1", "https://staging.orvanta.net/x?y=1#z",
          "orvanta://staging.orvanta.net", "https://user:pw@www.orvanta.com:8443/p"})
        EXPECT_TRUE(ov::isOrvantaLink(url, env)) << url;
    // Letter case differs; the name is outside the parsed host; no host; not a URL.
    for (const char* url :
         {"https://Staging.orvanta.net/", "https://WWW.orvanta.com/",
          "https://evil.example/www.orvanta.com", "https://www.orvanta.com.evil.example/",
          "https://www.orvanta.com@evil.example/", "/album/1", "mailto:someone@www.orvanta.com",
          "https://www.orvanta.com/has space", ""})
        EXPECT_FALSE(ov::isOrvantaLink(url, env)) << url;
    EXPECT_FALSE(ov::isOrvantaLink("file:///tmp/x", ""));
}

TEST(URLAdditions, ParsedPartsAndHTTP) {
    auto url = ov::URL::make("HTTPS://[::1]:8080/a");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme(), "HTTPS");
    EXPECT_EQ(url->host(), "::1");
    for (auto [text, http] : {std::pair{"HTTPS://[::1]:8080/a", true},
                              {"http://a", true},
                              {"ftp://a", false},
                              {"httpx://a", false}})
        EXPECT_EQ(ov::isHTTP(*ov::URL::make(text)), http) << text;
    EXPECT_EQ(ov::URL::make("not a url"), std::nullopt);
    EXPECT_EQ(ov::URL::make("relative/path")->host(), std::nullopt);
}

TEST(PeriodUnit, Names) {
    const char* const names[] = {"DAY", "WEEK", "MONTH", "YEAR", "UNKNOWN"};
    for (int unit = 0; unit < 6; ++unit)
        EXPECT_EQ(ov::stringValue(static_cast<ov::SKProductPeriodUnit>(unit)),
                  names[std::min(unit, 4)]);
}

TEST(DeviceDiskSizes, ConsistentFiguresAndAbsenceOnFailure) {
    auto total = ov::systemDiskSizeTotal();
    auto free = ov::systemDiskSizeFree();
    auto used = ov::systemDiskSizeUsed();
    ASSERT_TRUE(total && free && used);
    EXPECT_TRUE(*total > 0 && *free >= 0 && *free <= *total);
    // Used is total minus free (free may move slightly between the calls).
    EXPECT_NEAR(double(*used), double(*total - *free), double(*total) * 0.01);
    EXPECT_EQ(ov::diskSizes("/no/such/directory/at/all"), std::nullopt);
    EXPECT_EQ(ov::diskSizes(""), std::nullopt);
}

TEST(AudioRoute, PrimaryOutputIsTheFirstOutput) {
    ov::AudioSessionPortDescription speaker{"Speaker", "Speaker", "spk"};
    ov::AudioSessionPortDescription phones{"Headphones", "Headphones", "hp"};
    ov::AudioSessionPortDescription mic{"MicrophoneBuiltIn", "Mic", "mic"};
    ov::AudioSessionRouteDescription route{{mic}, {phones, speaker}};
    EXPECT_EQ(route.primaryOutput(), phones);
    EXPECT_EQ((ov::AudioSessionRouteDescription{{mic}, {}}).primaryOutput(), std::nullopt);
}

TEST(FileManagerPaths, PrivateAndOfflineDirectoriesAreCreatedAndTagged) {
    ovtest::TempDirectory tmp;
    const auto base = (tmp.path() / "a" / "b").string();
    EXPECT_EQ(ov::OVFileManager::preparePrivateDataPath(base), base);
    EXPECT_TRUE(fs::is_directory(base));
    const auto offline = ov::OVFileManager::prepareOfflineDataPath(base);
    EXPECT_EQ(offline, (fs::path(base) / "Offline Data").string());
    const auto tag = fs::path(offline) / "CACHEDIR.TAG";
    std::string signature;
    std::getline(std::ifstream(tag), signature);
    EXPECT_EQ(signature, "Signature: 8a477f597d28d172789f06886806bc55");
    // Preparing again keeps an existing tag as it is.
    std::ofstream(tag, std::ios::app) << "# kept\n";
    const auto size = fs::file_size(tag);
    EXPECT_EQ(ov::OVFileManager::prepareOfflineDataPath(base), offline);
    EXPECT_EQ(fs::file_size(tag), size);
    EXPECT_EQ(ov::OVFileManager::prepareOfflineDataPath(""), "");
    EXPECT_EQ(ov::OVFileManager::preparePrivateDataPath(""), "");
}

TEST(FileManagerPaths, CreationFailuresGiveEmptyPaths) {
    ovtest::TempDirectory tmp;
    // A file where a directory should be.
    const auto blocker = tmp.path() / "file";
    std::ofstream(blocker) << "x";
    auto capture = ovlog::CaptureSink::attach();
    EXPECT_EQ(ov::OVFileManager::preparePrivateDataPath((blocker / "sub").string()), "");
    EXPECT_EQ(ov::OVFileManager::prepareOfflineDataPath(blocker.string()), "");
    EXPECT_GE(capture->countStartingWith("cannot create directory"), 2u);
}

TEST(FileManagerPaths, CachedPathsFollowTheXdgDataHome) {
    ovtest::TempDirectory tmp;
    const auto dataHome = (tmp.path() / "share").string();
    ::setenv("XDG_DATA_HOME", dataHome.c_str(), 1);
    EXPECT_EQ(ov::OVFileManager::userDataDirectory(), dataHome);
    // First use in this process: computed now, under the directory above.
    const std::string& priv = ov::OVFileManager::privateDataPath();
    const std::string& offline = ov::OVFileManager::offlineDataPath();
    EXPECT_EQ(priv, dataHome);
    EXPECT_EQ(offline, dataHome + "/Offline Data");
    EXPECT_TRUE(fs::exists(fs::path(offline) / "CACHEDIR.TAG"));
    // Computed once: a later environment change does not move them.
    ::setenv("XDG_DATA_HOME", "/elsewhere", 1);
    EXPECT_EQ(ov::OVFileManager::privateDataPath(), dataHome);
    // A relative XDG_DATA_HOME is ignored, as the convention says.
    ::setenv("XDG_DATA_HOME", "relative/dir", 1);
    EXPECT_TRUE(ov::OVFileManager::userDataDirectory().ends_with("/.local/share"));
    ::unsetenv("XDG_DATA_HOME");
}

TEST(OptionalUnwrap, ThrowsCouldNotUnwrapNil) {
    EXPECT_EQ(ov::unwrap(std::optional<std::string>("x")), "x");
    EXPECT_EQ(*ov::unwrap(std::make_shared<int>(3)), 3);
    try {
        ov::unwrap(std::optional<int>());
        FAIL() << "unwrapping nothing must throw";
    } catch (const ov::OptionalErrorException& e) {
        EXPECT_EQ(e.error(), ov::OptionalError::couldNotUnwrapNil);
    }
    EXPECT_THROW(ov::unwrap(std::shared_ptr<int>()), ov::OptionalErrorException);
}

struct Track : ov::OVNamespaced<Track> {
    std::string title;
};
std::size_t titleLength(ov::Namespace<const Track&> track) {
    return track.base.title.size();
}

TEST(Namespace, IsAViewOfTheWrappedObject) {
    Track t;
    t.ov().base.title = "abcdef";  // a mutable view of the same object
    EXPECT_EQ(titleLength(std::as_const(t).ov()), 6u);
}

TEST(FloatingPoint, EqualWithinAccuracyIncludingTheBoundary) {
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        double a, b, accuracy;
        bool equal;
    } cases[] = {{0.1 + 0.2, 0.3, 1e-12, true}, {1.0, 1.5, 0.5, true},  // the boundary counts
                 {1.0, 1.5000001, 0.5, false},  {1.0, 1.0, -1.0, false}, {inf, inf, 0.0, true},
                 {inf, -inf, inf, false},       {nan, nan, 1.0, false}};
    for (const auto& c : cases)
        EXPECT_EQ(ov::isEqual(c.a, c.b, c.accuracy), c.equal) << c.a << " " << c.b;
    EXPECT_TRUE(ov::isEqual(2.0f, 2.0f, 0.0f));
    EXPECT_FALSE(ov::isEqual(std::optional<double>{}, 1.0, 10.0));
    EXPECT_TRUE(ov::isEqual(std::optional<double>{1.0}, 1.25, 0.25));
}

TEST(ObjectCoding, RoundTripAndFailures) {
    auto data = ov::ovEncodedData(ov::Bitrate(64000));
    EXPECT_EQ(std::string(data.begin(), data.end()), R"({"bitsPerSecond":64000.0})");
    EXPECT_EQ(ov::ovDecodeDataOfCustom<ov::Bitrate>(data), ov::Bitrate(64000));

    auto capture = ovlog::CaptureSink::attach();
    const std::string garbage = "{not json";
    EXPECT_EQ(ov::ovDecodeDataOfCustom<ov::Bitrate>(
                  std::vector<std::uint8_t>(garbage.begin(), garbage.end())),
              std::nullopt);
    auto other = ov::ovEncodedData(std::string("text"));
    EXPECT_EQ(ov::ovDecodeDataOfCustom<ov::Bitrate>(other), std::nullopt);
    EXPECT_TRUE(ov::ovEncodedData(std::string("\xff\xfe")).empty());  // not UTF-8
    EXPECT_EQ(capture->messages("OVUtility").size(), 3u);
}

}  // namespace
