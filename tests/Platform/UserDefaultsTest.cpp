#include "OVUtility/Platform/UserDefaults.h"

#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "OVLog/CaptureSink.h"
#include "support/TempDirectory.h"

namespace {

using ov::UserDefaults;

class UserDefaultsTest : public ::testing::Test {
  protected:
    static std::string read(const std::filesystem::path& p) {
        std::stringstream s;
        s << std::ifstream(p).rdbuf();
        return s.str();
    }
    ovtest::TempDirectory tmp;
    const std::filesystem::path dir = tmp.path();
};

TEST_F(UserDefaultsTest, TypedReadsAreStrict) {
    auto d = UserDefaults::makeInMemory({{"int", 30},
                                         {"text", "30"},
                                         {"flag", true},
                                         {"real", 30.5},
                                         {"big", 18446744073709551615ull}});
    // Keys that each typed read answers for; every other key gives no value.
    EXPECT_EQ(d->integer("int"), 30);
    EXPECT_EQ(d->string("text"), "30");
    EXPECT_EQ(d->boolean("flag"), true);
    EXPECT_EQ(d->number("real"), 30.5);
    EXPECT_EQ(d->number("int"), 30.0);
    for (const char* key : {"text", "flag", "real", "big", "absent"})
        EXPECT_FALSE(d->integer(key)) << key;  // "big" does not fit
    EXPECT_FALSE(d->string("int"));
    EXPECT_FALSE(d->boolean("int"));
    EXPECT_FALSE(d->number("text"));
    EXPECT_EQ(d->object("text"), nlohmann::json("30"));
}

TEST_F(UserDefaultsTest, PersistsThroughTheFile) {
    auto path = dir / "sub" / "defaults.json";
    {
        auto defaults = UserDefaults::make(path);
        defaults->set("OVLocalizedStringsPercent", 25);
        defaults->set("name", "ada");
        defaults->remove("name");
    }
    auto reloaded = UserDefaults::make(path);
    EXPECT_EQ(reloaded->integer("OVLocalizedStringsPercent"), 25);
    EXPECT_FALSE(reloaded->object("name"));
    EXPECT_FALSE(std::filesystem::exists(dir / "sub" / "defaults.json.tmp"));
}

TEST_F(UserDefaultsTest, MalformedFileIsKeptAsideNotOverwritten) {
    auto path = dir / "defaults.json";
    std::ofstream(path) << "[\"not\", \"an object\"";
    auto capture = ovlog::CaptureSink::attach();
    auto defaults = UserDefaults::make(path);
    EXPECT_EQ(defaults->dictionaryRepresentation(), nlohmann::json::object());
    ASSERT_EQ(capture->messages("UserDefaults").size(), 1u);
    EXPECT_EQ(read(path), "[\"not\", \"an object\"");  // untouched until a write
    defaults->set("k", 1);
    EXPECT_EQ(read(path.string() + ".bad"), "[\"not\", \"an object\"");
    EXPECT_EQ(UserDefaults::make(path)->integer("k"), 1);
}

TEST_F(UserDefaultsTest, ConcurrentWritersLoseNoWrite) {
    auto defaults = UserDefaults::make(dir / "defaults.json");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                defaults->set("key" + std::to_string(t), i);
                (void)defaults->integer("key" + std::to_string((t + 1) % 4));
            }
        });
    }
    for (auto& t : threads) t.join();
    auto reloaded = UserDefaults::make(dir / "defaults.json");
    for (int t = 0; t < 4; ++t) EXPECT_EQ(reloaded->integer("key" + std::to_string(t)), 49);
}

}  // namespace
