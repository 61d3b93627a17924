#include "OVUtility/Platform/UserDefaults.h"

#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "OVLog/CaptureSink.h"

namespace {

using ov::UserDefaults;

class UserDefaultsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        dir = std::filesystem::temp_directory_path() /
              ("ovdefaults-" + std::to_string(::getpid()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }
    std::string read(const std::filesystem::path& p) {
        std::ifstream in(p);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    std::filesystem::path dir;
};

TEST_F(UserDefaultsTest, TypedReadsAreStrict) {
    auto defaults = UserDefaults::makeInMemory({{"int", 30},
                                                {"text", "30"},
                                                {"flag", true},
                                                {"real", 30.5},
                                                {"big", 18446744073709551615ull}});
    EXPECT_EQ(defaults->integer("int"), 30);
    EXPECT_FALSE(defaults->integer("text"));
    EXPECT_FALSE(defaults->integer("flag"));
    EXPECT_FALSE(defaults->integer("real"));
    EXPECT_FALSE(defaults->integer("big"));  // does not fit
    EXPECT_FALSE(defaults->integer("absent"));
    EXPECT_EQ(defaults->string("text"), "30");
    EXPECT_FALSE(defaults->string("int"));
    EXPECT_EQ(defaults->boolean("flag"), true);
    EXPECT_FALSE(defaults->boolean("int"));
    EXPECT_EQ(defaults->number("real"), 30.5);
    EXPECT_EQ(defaults->number("int"), 30.0);
    EXPECT_EQ(defaults->object("text"), nlohmann::json("30"));
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
    auto aside = path;
    aside += ".bad";
    EXPECT_EQ(read(aside), "[\"not\", \"an object\"");
    EXPECT_EQ(UserDefaults::make(path)->integer("k"), 1);
}

TEST_F(UserDefaultsTest, StandardCanBePointedElsewhere) {
    auto previous = UserDefaults::standard();
    auto mine = UserDefaults::makeInMemory({{"k", 1}});
    UserDefaults::setStandard(mine);
    EXPECT_EQ(UserDefaults::standard(), mine);
    EXPECT_EQ(UserDefaults::standard()->integer("k"), 1);
    UserDefaults::setStandard(previous);
    EXPECT_EQ(UserDefaults::standardPath().filename(), "defaults.json");
}

TEST_F(UserDefaultsTest, ConcurrentWritersAndReaders) {
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
