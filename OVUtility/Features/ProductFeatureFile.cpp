#include "OVUtility/Features/ProductFeatureFile.h"

#include <fstream>
#include <sstream>

namespace ov {

std::vector<ProductFeatureEntryProblem> ProductFeatureFile::checkEntry(const nlohmann::json& entry,
                                                                       size_t index) {
    std::vector<ProductFeatureEntryProblem> problems;
    if (!entry.is_object()) {
        problems.push_back({index, "not an object", true});
        return problems;
    }
    if (entry.empty()) {
        problems.push_back({index, "empty entry", true});
        return problems;
    }
    auto id = entry.find("id");
    if (id == entry.end()) {
        problems.push_back({index, "no \"id\"", true});
        return problems;
    }
    if (!id->is_string()) {
        problems.push_back({index, "\"id\" is not a string", true});
        return problems;
    }
    if (auto d = entry.find("description"); d != entry.end() && !d->is_string()) {
        problems.push_back({index, "\"description\" is not a string (ignored)", false});
    }
    if (auto e = entry.find("enabled"); e != entry.end() && !e->is_boolean()) {
        problems.push_back({index, "\"enabled\" is not a Boolean (ignored)", false});
    }
    return problems;
}

ProductFeatureFile ProductFeatureFile::parse(std::string_view bytes) {
    ProductFeatureFile file;
    nlohmann::json parsed;
    try {
        parsed = nlohmann::json::parse(bytes.begin(), bytes.end());
    } catch (const nlohmann::json::exception& e) {
        // The parser's message quotes the bytes it last read, which may be
        // anything; bytes outside printable ASCII are written as \xNN.
        file.fileError = "not valid JSON: ";
        for (const unsigned char c : std::string_view(e.what())) {
            if (c >= 0x20 && c < 0x7F) {
                *file.fileError += static_cast<char>(c);
            } else {
                static constexpr char kHex[] = "0123456789ABCDEF";
                *file.fileError += {'\\', 'x', kHex[c >> 4], kHex[c & 0xF]};
            }
        }
        return file;
    }
    if (!parsed.is_array()) {
        file.fileError = "the top level is not an array";
        return file;
    }
    for (size_t i = 0; i < parsed.size(); ++i) {
        if (!parsed[i].is_object()) {
            file.fileError = "entry " + std::to_string(i) + " is not an object";
            return file;
        }
    }
    for (size_t i = 0; i < parsed.size(); ++i) {
        auto problems = checkEntry(parsed[i], i);
        file.entryProblems.insert(file.entryProblems.end(), problems.begin(), problems.end());
    }
    file.entries = std::move(parsed);
    return file;
}

ProductFeatureFile ProductFeatureFile::load(const std::filesystem::path& path) {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        ProductFeatureFile file;
        file.fileError = "is a directory, not a file";
        return file;
    }
    std::ifstream in(path, std::ios::binary);
    std::ostringstream buffer;
    if (in.is_open()) buffer << in.rdbuf();
    if (!in.is_open() || in.bad()) {
        ProductFeatureFile file;
        file.fileError = "cannot be read";
        return file;
    }
    return parse(buffer.str());
}

}  // namespace ov
