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

namespace fs = std::filesystem;

namespace {

TEST(URLAdditions, ProductLinksByExactHost) {
    const std::string env = "staging.orvanta.net";
    EXPECT_TRUE(ov::isOrvantaLink("https://www.orvanta.com/album/1", env));
    EXPECT_TRUE(ov::isOrvantaLink("https://staging.orvanta.net/x?y=1#z", env));
    EXPECT_TRUE(ov::isOrvantaLink("orvanta://staging.orvanta.net", env));
    // Case-sensitive: differs only in letter case.
    EXPECT_FALSE(ov::isOrvantaLink("https://Staging.orvanta.net/", env));
    EXPECT_FALSE(ov::isOrvantaLink("https://WWW.orvanta.com/", env));
    // The host is the parsed host, not a substring of the text.
    EXPECT_FALSE(ov::isOrvantaLink("https://evil.example/www.orvanta.com", env));
    EXPECT_FALSE(ov::isOrvantaLink("https://www.orvanta.com.evil.example/", env));
    EXPECT_TRUE(ov::isOrvantaLink("https://user:pw@www.orvanta.com:8443/p", env));
    EXPECT_FALSE(ov::isOrvantaLink("https://www.orvanta.com@evil.example/", env));
    // No host, or not a URL at all.
    EXPECT_FALSE(ov::isOrvantaLink("/album/1", env));
    EXPECT_FALSE(ov::isOrvantaLink("mailto:someone@www.orvanta.com", env));
    EXPECT_FALSE(ov::isOrvantaLink("https://www.orvanta.com/has space", env));
    EXPECT_FALSE(ov::isOrvantaLink("", env));
    EXPECT_FALSE(ov::isOrvantaLink("file:///tmp/x", ""));
}

TEST(URLAdditions, ParsedPartsAndHTTP) {
    auto url = ov::URL::make("HTTPS://[::1]:8080/a");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme(), "HTTPS");
    EXPECT_EQ(url->host(), "::1");
    EXPECT_TRUE(ov::isHTTP(*url));
    EXPECT_TRUE(ov::isHTTP(*ov::URL::make("http://a")));
    EXPECT_FALSE(ov::isHTTP(*ov::URL::make("ftp://a")));
    EXPECT_FALSE(ov::isHTTP(*ov::URL::make("httpx://a")));
    EXPECT_EQ(ov::URL::make("not a url"), std::nullopt);
    EXPECT_EQ(ov::URL::make("relative/path")->host(), std::nullopt);
}

TEST(PeriodUnit, Names) {
    EXPECT_EQ(ov::stringValue(ov::SKProductPeriodUnit::day), "DAY");
    EXPECT_EQ(ov::stringValue(ov::SKProductPeriodUnit::week), "WEEK");
    EXPECT_EQ(ov::stringValue(ov::SKProductPeriodUnit::month), "MONTH");
    EXPECT_EQ(ov::stringValue(ov::SKProductPeriodUnit::year), "YEAR");
    EXPECT_EQ(ov::stringValue(static_cast<ov::SKProductPeriodUnit>(4)), "UNKNOWN");
    EXPECT_EQ(ov::stringValue(static_cast<ov::SKProductPeriodUnit>(9)), "UNKNOWN");
}

TEST(DeviceDiskSizes, ConsistentFiguresAndAbsenceOnFailure) {
    auto total = ov::systemDiskSizeTotal();
    auto free = ov::systemDiskSizeFree();
    auto used = ov::systemDiskSizeUsed();
    ASSERT_TRUE(total && free && used);
    EXPECT_GT(*total, 0);
    EXPECT_GE(*free, 0);
    EXPECT_LE(*free, *total);
    // Used is total minus free (free may move slightly between the calls).
    EXPECT_NEAR(static_cast<double>(*used), static_cast<double>(*total - *free),
                static_cast<double>(*total) * 0.01);

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

class TempDir {
  public:
    TempDir() {
        std::string pattern = (fs::temp_directory_path() / "ovtest-XXXXXX").string();
        path_ = mkdtemp(pattern.data());
    }
    ~TempDir() {
        std::error_code ec;
        fs::permissions(path_, fs::perms::owner_all, fs::perm_options::add, ec);
        fs::remove_all(path_, ec);
    }
    const fs::path& path() const { return path_; }

  private:
    fs::path path_;
};

std::string firstLine(const fs::path& file) {
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    return line;
}

TEST(FileManagerPaths, PrivateAndOfflineDirectoriesAreCreatedAndTagged) {
    TempDir tmp;
    const auto base = (tmp.path() / "a" / "b").string();
    EXPECT_EQ(ov::OVFileManager::preparePrivateDataPath(base), base);
    EXPECT_TRUE(fs::is_directory(base));

    auto offline = ov::OVFileManager::prepareOfflineDataPath(base);
    EXPECT_EQ(offline, (fs::path(base) / "Offline Data").string());
    EXPECT_TRUE(fs::is_directory(offline));
    EXPECT_EQ(firstLine(fs::path(offline) / "CACHEDIR.TAG"),
              "Signature: 8a477f597d28d172789f06886806bc55");
    // Preparing again keeps an existing tag as it is.
    { std::ofstream(fs::path(offline) / "CACHEDIR.TAG", std::ios::app) << "# kept\n"; }
    auto size = fs::file_size(fs::path(offline) / "CACHEDIR.TAG");
    EXPECT_EQ(ov::OVFileManager::prepareOfflineDataPath(base), offline);
    EXPECT_EQ(fs::file_size(fs::path(offline) / "CACHEDIR.TAG"), size);

    EXPECT_EQ(ov::OVFileManager::prepareOfflineDataPath(""), "");
    EXPECT_EQ(ov::OVFileManager::preparePrivateDataPath(""), "");
}

TEST(FileManagerPaths, CreationFailuresGiveEmptyPaths) {
    TempDir tmp;
    // A file where a directory should be.
    const auto blocker = tmp.path() / "file";
    std::ofstream(blocker) << "x";
    auto capture = ovlog::CaptureSink::attach();
    EXPECT_EQ(ov::OVFileManager::preparePrivateDataPath((blocker / "sub").string()), "");
    EXPECT_EQ(ov::OVFileManager::prepareOfflineDataPath(blocker.string()), "");
    EXPECT_GE(capture->countStartingWith("cannot create directory"), 2u);
}

TEST(FileManagerPaths, CachedPathsFollowTheXdgDataHome) {
    TempDir tmp;
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
    std::optional<int> none;
    std::optional<int> some = 5;
    EXPECT_EQ(ov::unwrap(some), 5);
    EXPECT_EQ(ov::unwrap(std::optional<std::string>("x")), "x");
    try {
        ov::unwrap(none);
        FAIL() << "unwrapping nothing must throw";
    } catch (const ov::OptionalErrorException& e) {
        EXPECT_EQ(e.error(), ov::OptionalError::couldNotUnwrapNil);
    }
    EXPECT_THROW(ov::unwrap(std::shared_ptr<int>()), ov::OptionalErrorException);
    EXPECT_EQ(*ov::unwrap(std::make_shared<int>(3)), 3);
}

struct Track : ov::OVNamespaced<Track> {
    std::string title;
};
std::size_t titleLength(ov::Namespace<const Track&> track) {
    return track.base.title.size();
}

TEST(Namespace, CarriesTheWrappedValue) {
    Track t;
    t.title = "abc";
    EXPECT_EQ(titleLength(t.ov()), 3u);
    t.ov().base.title = "abcdef";  // a mutable view of the same object
    EXPECT_EQ(titleLength(std::as_const(t).ov()), 6u);
    ov::Namespace<int> boxed(7);
    EXPECT_EQ(boxed.base, 7);
}

TEST(FloatingPoint, EqualWithinAccuracyIncludingTheBoundary) {
    EXPECT_TRUE(ov::isEqual(0.1 + 0.2, 0.3, 1e-12));
    EXPECT_TRUE(ov::isEqual(1.0, 1.5, 0.5));  // boundary counts
    EXPECT_FALSE(ov::isEqual(1.0, 1.5000001, 0.5));
    EXPECT_TRUE(ov::isEqual(2.0f, 2.0f, 0.0f));
    EXPECT_FALSE(ov::isEqual(1.0, 1.0, -1.0));
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(ov::isEqual(inf, inf, 0.0));
    EXPECT_FALSE(ov::isEqual(inf, -inf, inf));
    EXPECT_FALSE(ov::isEqual(nan, nan, 1.0));
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
