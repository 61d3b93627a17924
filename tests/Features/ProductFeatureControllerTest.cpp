#include "OVUtility/Features/ProductFeatureController.h"

#include <gtest/gtest.h>

#include "FeatureTestSupport.h"
#include "OVLog/CaptureSink.h"
#include "OVUtility/Features/ProductFeatureFile.h"
#include "support/DataDirectory.h"

namespace {

using ov::ProductFeature;
using ov::ProductFeatureController;
using ov::ProductFeatureSet;
using ov::ProductFeatureSourceFile;

std::shared_ptr<ProductFeature> find(const std::string& id) {
    for (auto& f : ProductFeatureController::allFeatures()) {
        if (f->featureID() == id) return f;
    }
    return nullptr;
}

class ProductFeatureControllerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ov::Bundle::setPreferredLanguages({"en"});
        ProductFeatureController::setBundleToLoad(
            ov::Bundle::make(ovtest::dataDirectory() / "SampleBundle"));
    }
    void TearDown() override { ov::Bundle::setPreferredLanguages({}); }
};

// Files layer field by field: release, then develop (develop set only), then
// local; a later file's entry changes only the fields it states, and the
// source is the last file that names the feature. Develop, then release again:
// develop-only features are gone.
TEST_F(ProductFeatureControllerTest, FeatureSetsLayerFilesFieldByField) {
    using Set = ov::ProductFeatureSet;
    using Source = ProductFeatureSourceFile;
    const struct {
        Set set;
        const char *id, *description;  // no description: absent
        bool initiallyEnabled;
        Source source;
    } rows[] = {
        {Set::develop, "IOS-5222", "UI automation test hooks", true, Source::develop},
        {Set::develop, "DEVICE-10546", "Alexa app-to-app linking (beta)", false, Source::develop},
        {Set::develop, "IOS-12003", "Image prefetching", true, Source::develop},
        {Set::develop, "IOS-12002", "Haptic feedback on thumbs", true, Source::local},
        {Set::develop, "IOS-10887", "Premium browse refactor", false, Source::local},
        {Set::release, "IOS-5222", "UI automation test hooks", false, Source::release},
        {Set::release, "IOS-12003", nullptr, false, Source::none},
        {Set::release, "IOS-12002", "Haptic feedback", false, Source::local},
        {Set::release, "IOS-10887", "Premium browse refactor", false, Source::local},
    };
    for (const auto& row : rows) {
        ProductFeatureController::updateProductFeatures(row.set);
        auto feature = find(row.id);
        ASSERT_EQ(static_cast<bool>(feature), row.description != nullptr) << row.id;
        if (!feature) continue;
        EXPECT_EQ(feature->featureDescription(), row.description) << row.id;
        EXPECT_EQ(feature->initiallyEnabled(), row.initiallyEnabled) << row.id;
        EXPECT_EQ(feature->enabled(), row.initiallyEnabled) << row.id;
        EXPECT_EQ(feature->sourceFile(), row.source) << row.id;
    }
    EXPECT_EQ(find("IOS-10887"), ProductFeature::premiumBrowseRefactor());
}

TEST_F(ProductFeatureControllerTest, KeptAsideCodeFeaturesKeepIdentityAndOverride) {
    ovtest::TemporaryBundle files;
    files.write("release-features.json",
                R"([{"id": "TEST-700", "description": "from file", "enabled": true},
                    {"id": "TEST-701", "description": "file feature", "enabled": true}])");
    ProductFeatureController::setBundleToLoad(files.bundle());

    auto code = ProductFeature::product("TEST-700", "from code", false);
    code->setEnabled(true);
    ProductFeatureController::updateProductFeatures(ProductFeatureSet::release);
    EXPECT_EQ(ProductFeature::product("TEST-700"), code);
    EXPECT_EQ(code->description(), "Feature TEST-700: from code (none) = enabled");
    EXPECT_FALSE(code->initiallyEnabled());

    // File-defined features are remade on reload: holders keep a stale object
    // and the override is gone.
    auto fromFile = ProductFeature::product("TEST-701");
    fromFile->setEnabled(false);
    ProductFeatureController::updateProductFeatures(ProductFeatureSet::release);
    auto reloaded = ProductFeature::product("TEST-701");
    EXPECT_NE(reloaded, fromFile);
    EXPECT_FALSE(reloaded->manuallyEnabled());
    EXPECT_TRUE(reloaded->enabled());
    EXPECT_EQ(ProductFeature::product("TEST-700"), code);
    code->setManuallyEnabled(std::nullopt);
}

TEST_F(ProductFeatureControllerTest, SourceFileQueries) {
    ProductFeatureController::updateProductFeatures(ProductFeatureSet::develop);
    auto local = ProductFeatureController::currentFeatures(ProductFeatureSourceFile::local);
    ASSERT_EQ(local.size(), 2u);
    EXPECT_EQ(local[0]->featureID(), "IOS-10887");  // allFeatures order
    EXPECT_EQ(local[1]->featureID(), "IOS-12002");
    auto bySource = ProductFeatureController::featuresBySourceFile();
    EXPECT_EQ(bySource.size(), 4u);
    size_t total = 0;
    for (const auto& [source, features] : bySource) {
        for (const auto& f : features) EXPECT_EQ(f->sourceFile(), source);
        total += features.size();
    }
    EXPECT_EQ(total, ProductFeatureController::allFeatures().size());
}

// Entries without a string "id" are skipped, fields of the wrong type are
// ignored, and a repeated identifier updates the same feature.
TEST_F(ProductFeatureControllerTest, CreateProductFeaturesSkipsMalformedEntries) {
    auto entries = nlohmann::json::parse(R"([
        {"id": "TEST-800", "description": "ok", "enabled": true}, {}, {"description": "no id"},
        {"id": 801}, {"id": "TEST-802", "description": 7, "enabled": "true", "extra": 1},
        "not an object", {"id": "TEST-800", "enabled": false}
    ])");
    auto features =
        ProductFeatureController::createProductFeatures(entries, ProductFeatureSourceFile::develop);
    ASSERT_EQ(features.size(), 3u);  // duplicates included
    EXPECT_EQ(features[0], features[2]);
    EXPECT_EQ(features[0]->description(), "Feature TEST-800: ok (develop-features) = disabled");
    EXPECT_EQ(features[1]->description(), "Feature TEST-802:  (develop-features) = disabled");
    EXPECT_TRUE(ProductFeatureController::createProductFeatures(nlohmann::json::object(),
                                                                ProductFeatureSourceFile::develop)
                    .empty());
}

TEST_F(ProductFeatureControllerTest, BrokenFilesAreSkippedWithAWarning) {
    auto malformed = ovtest::dataDirectory() / "malformed";
    // The broken file, and the start of the logged reason.
    const std::pair<const char*, const char*> cases[] = {
        {"truncated.json", "not valid JSON: "},
        {"object-top-level.json", "the top level is not an array"},
        {"array-of-non-objects.json", "entry 1 is not an object"},
        {"invalid-utf8.json", "not valid JSON: "}};
    for (const auto& [file, reason] : cases) {
        ovtest::TemporaryBundle files;
        std::filesystem::copy_file(malformed / file, files.path() / "local-features.json");
        files.write("release-features.json", R"([{"id": "TEST-900", "enabled": true}])");
        ProductFeatureController::setBundleToLoad(files.bundle());
        auto capture = ovlog::CaptureSink::attach();
        ProductFeatureController::updateProductFeatures(ProductFeatureSet::develop);
        auto messages = capture->messages("ProductFeatures");
        ASSERT_EQ(messages.size(), 1u) << file;
        const auto prefix = "feature file " + (files.path() / "local-features.json").string() +
                            " skipped: " + reason;
        EXPECT_EQ(messages[0].rfind(prefix, 0), 0u) << messages[0];
        // The good file still loaded; nothing came from the broken one.
        EXPECT_TRUE(ProductFeatureController::currentFeatures(ProductFeatureSourceFile::local).empty());
        EXPECT_EQ(find("TEST-900")->sourceFile(), ProductFeatureSourceFile::release);
    }

    // Missing files: silent.
    ovtest::TemporaryBundle none;
    ProductFeatureController::setBundleToLoad(none.bundle());
    auto capture = ovlog::CaptureSink::attach();
    ProductFeatureController::updateProductFeatures(ProductFeatureSet::develop);
    EXPECT_TRUE(capture->messages("ProductFeatures").empty());
}

TEST(ProductFeatureFileTest, ReportsEntryProblemsWithIndices) {
    auto file =
        ov::ProductFeatureFile::load(ovtest::dataDirectory() / "malformed/wrong-types.json");
    ASSERT_FALSE(file.fileError);
    ASSERT_TRUE(file.entries);
    std::vector<std::string> seen;
    for (const auto& p : file.entryProblems)
        seen.push_back(std::to_string(p.index) + (p.skipped ? " skipped: " : " ignored: ") + p.reason);
    EXPECT_EQ(seen, (std::vector<std::string>{
                        "1 skipped: empty entry",
                        "2 skipped: no \"id\"",
                        "3 skipped: \"id\" is not a string",
                        "4 ignored: \"description\" is not a string (ignored)",
                        "4 ignored: \"enabled\" is not a Boolean (ignored)",
                    }));
    EXPECT_TRUE(ov::ProductFeatureFile::parse("[]").entries);
    EXPECT_EQ(ov::ProductFeatureFile::load("/nonexistent/x.json").fileError, "cannot be read");
}

}  // namespace
