// Numbers in JSON: what a settings file may say, and what is taken for it.
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

}  // namespace
}  // namespace optimizer
