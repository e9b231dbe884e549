// JSON: what a settings file may say, and what is taken for it.
#include <gtest/gtest.h>

#include "frame/json.h"

namespace optimizer {
namespace {

TEST(Json, NumbersBeyondTheirTypeAreNoNumbers) {
    const struct {
        const char* text;
        std::optional<uint32_t> asUnsigned;
        std::optional<int32_t> asSigned;
    } kCases[] = {
        {"-1", std::nullopt, -1},
        {"2147483648", 2147483648U, std::nullopt},
        {"-2147483649", std::nullopt, std::nullopt},
        {"4294967295", 4294967295U, std::nullopt},
        {"4294967296", std::nullopt, std::nullopt},
        {"1e300", std::nullopt, std::nullopt},
        {"\"7\"", std::nullopt, std::nullopt},
    };
    picojson::value value;
    std::string error;
    for (const auto& c : kCases) {
        ASSERT_TRUE(json::Parse(c.text, value, error)) << c.text << error;
        EXPECT_EQ(json::ToUint32(&value), c.asUnsigned) << c.text;
        EXPECT_EQ(json::ToInt32(&value), c.asSigned) << c.text;
    }
    EXPECT_FALSE(json::Parse("{\"\\\"1e999\": 5,\n\"a\":-1e999,\n1e998}", value, error));
    EXPECT_EQ(error, "number too large at line 2 near: 1e999,");
}

std::string Nested(const std::string& open, size_t levels, const std::string& close) {
    std::string text;
    for (size_t level = 0; level < levels; ++level)
        text += open;
    text += "1";
    for (size_t level = 0; level < levels; ++level)
        text += close;
    return text;
}

TEST(Json, NestingIsBoundedBeforeTheParserSeesIt) {
    picojson::value value;
    std::string error;
    for (const auto& [open, close] : {std::pair{"[", "]"}, {"{\"[\\\"\":", "}"}, {"[{\"{\":", "}]"}}) {
        const size_t each = open[1] == '{' ? 2 : 1;
        EXPECT_TRUE(json::Parse(Nested(open, 32 / each, close), value, error)) << error;
        EXPECT_FALSE(json::Parse(Nested(open, 32 / each + 1, close), value, error)) << open;
        EXPECT_FALSE(json::Parse(Nested(open, 60000, close), value, error)) << open;
        EXPECT_FALSE(json::Parse(Nested(open, 32 / each, close), value, error, 1)) << open;
    }
    EXPECT_FALSE(json::Parse("[\n" + Nested("[", 32, "]") + "]", value, error));
    EXPECT_EQ(error, "nested deeper than 32 levels at line 2 near: [1" + std::string(33, ']'));
    EXPECT_FALSE(json::Parse(std::string(size_t{60} << 20, '['), value, error));
    EXPECT_EQ(error, "nested deeper than 32 levels at line 1 near: " + std::string(80, '[') + "...");
    EXPECT_FALSE(json::Parse("{}\n{}", value, error));
    EXPECT_EQ(error, "syntax error at line 2 near: {}");
}

}  // namespace
}  // namespace optimizer
