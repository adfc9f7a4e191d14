// The fast badge decision against the rules as a person would write them down.
#include "extension/BadgeState.h"
#include "paths/path_strings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <set>

namespace {

using extension::BadgeRule;
using platform::FileURL;

FileURL url(const std::string& path) { return FileURL::withPath(path).value(); }

BadgeRule plainRule(const extension::WatchedPaths& roots, const std::vector<std::string>& uploading,
                    const std::vector<std::string>& working, const std::string& path) {
    bool isInside = false;
    for (const FileURL& root : roots) {
        if (root.path() == path) return BadgeRule::root;
        if (paths::isChildOfPath(path, root.path())) {
            isInside = true;
            break;
        }
    }
    if (!isInside) return BadgeRule::outside;
    const std::string standard = paths::standardisedPath(path);
    const auto matches = [&standard](const std::string& file) {
        return paths::isChildOfPath(paths::standardisedPath(file), standard);
    };
    if (std::any_of(uploading.begin(), uploading.end(), matches)) return BadgeRule::uploading;
    return std::any_of(working.begin(), working.end(), matches) ? BadgeRule::working : BadgeRule::existing;
}

using Texts = std::vector<std::string>;

// From few names, so that they meet often, when odd in all the spellings that a path can have.
std::string anyPath(std::mt19937& random, unsigned maximumDepth, bool isOdd) {
    static constexpr std::string_view odd[] = {"/", "/./", "/../", "//", "/.", "/b/.."};
    std::string text;
    for (auto depth = random() % (maximumDepth + 1); depth > 0; --depth) {
        text += random() % 2 == 0 ? "/a" : "/b";
        if (isOdd && random() % 4 == 0) text += odd[random() % std::size(odd)];
    }
    if (text.empty() || (isOdd && random() % 6 == 0)) text += "/";
    return text;
}

TEST(BadgeState, DecidesAsThePlainRulesDo) {
    for (std::uint32_t seed = 0; seed < 800; ++seed) {
        std::mt19937 random(seed);
        const bool isOdd = seed % 2 == 1;
        const auto anyPaths = [&](unsigned most, unsigned depth) {
            Texts paths(random() % (most + 1));
            for (std::string& each : paths)
                each = anyPath(random, depth, isOdd);
            return paths;
        };
        extension::WatchedPaths roots;
        for (const std::string& root : anyPaths(4, 3))
            roots.insert(url(root));
        const auto uploading = std::make_shared<const Texts>(anyPaths(5, 5));
        const auto working = std::make_shared<const Texts>(anyPaths(2, 5));
        const auto state = extension::BadgeState().withRoots(roots)->withFiles(uploading, working);
        for (int i = 0; i < 30; ++i) {
            const std::string path = url(anyPath(random, 6, isOdd)).path();
            const BadgeRule plain = plainRule(roots, *uploading, *working, path);
            ASSERT_EQ(state->rule(url(path)), plain) << "seed " << seed << ", item " << path;
            ASSERT_EQ(state->explain(url(path)).rule, plain) << "seed " << seed << ", item " << path;

            // The walk upwards visits the same paths as taking the parent path again and again.
            std::vector<std::pair<std::string, BadgeRule>> expected;
            for (std::string_view at = path; paths::parentPath(at) != at; at = paths::parentPath(at))
                expected.emplace_back(at, plainRule(roots, *uploading, *working, std::string(at)));
            std::vector<std::pair<std::string, BadgeRule>> walked;
            state->forEachUpwards(
                path, [&](std::string_view at, BadgeRule rule) { walked.emplace_back(at, rule); });
            ASSERT_EQ(walked, expected) << "seed " << seed << ", walk from " << path;
        }
    }
}

TEST(Badges, EachIsDrawnAndToldApart) {
    std::set<std::string_view> signs;
    std::set<std::string_view> asciiSigns;
    for (const extension::Badge& badge : extension::badges) {
        for (const std::filesystem::path folder : {DRAWINGS, DRAWINGS "/symbolic"})
            EXPECT_TRUE(exists((folder / badge.imageFile).replace_extension("svg"))) << badge.imageFile;
        EXPECT_TRUE(signs.insert(badge.sign).second && asciiSigns.insert(badge.asciiSign).second)
            << badge.identifier;
    }
}

} // namespace
