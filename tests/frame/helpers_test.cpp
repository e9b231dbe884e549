// JSON and texts: the small helpers whose mistakes show everywhere.
#include <gtest/gtest.h>

#include "frame/json.h"
#include "frame/text.h"

namespace optimizer {
namespace {

TEST(Json, NumbersBeyondTheirTypeAreNoNumbers) {
    const struct {
        const char* text;
        std::optional<uint32_t> asUnsigned;
        std::optional<int32_t> asSigned;
    } kCases[] = {
        {"0", 0U, 0},
        {"-1", std::nullopt, -1},
        {"2147483647", 2147483647U, 2147483647},
        {"2147483648", 2147483648U, std::nullopt},
        {"-2147483648", std::nullopt, INT32_MIN},
        {"-2147483649", std::nullopt, std::nullopt},
        {"4294967295", 4294967295U, std::nullopt},
        {"4294967296", std::nullopt, std::nullopt},
        {"1e300", std::nullopt, std::nullopt},
        {"\"7\"", std::nullopt, std::nullopt},
        {"true", std::nullopt, std::nullopt},
        {"null", std::nullopt, std::nullopt},
    };
    for (const auto& c : kCases) {
        picojson::value value;
        std::string error;
        ASSERT_TRUE(json::Parse(c.text, value, error)) << c.text << error;
        EXPECT_EQ(json::ToUint32(&value), c.asUnsigned) << c.text;
        EXPECT_EQ(json::ToInt32(&value), c.asSigned) << c.text;
    }
}

TEST(Json, WhatDoesNotParseIsToldWithItsPlace) {
    const struct {
        std::string text;
        const char* error;
    } kCases[] = {
        {"", "syntax error at line 1 near: "},
        {"{\"a\":1,\n\"b\" 2}\n", "syntax error at line 2 near: 2}"},
        {"{\"a\":", "syntax error at line 1 near: "},
        {std::string(100000, '['), "syntax error at line 1 near: "},
        {"{\"a\":1} x\n{}", "syntax error at line 1 near: x"},
        {"{\"a\":1e999}", ""},
        {"[-1e999]", ""},
    };
    for (const auto& c : kCases) {
        picojson::value value;
        std::string error;
        EXPECT_FALSE(json::Parse(c.text, value, error)) << c.text.substr(0, 20);
        EXPECT_EQ(error.rfind(c.error, 0), 0U) << error.substr(0, 60);
        EXPECT_FALSE(error.empty());
    }
}

TEST(Text, Utf8BothWays) {
    const struct {
        std::string narrow;
        std::wstring wide;
    } kCases[] = {
        {"", L""},
        {"plain", L"plain"},
        {"\xC3\xA9\xE2\x82\xAC", L"\x00E9\x20AC"},
        {"\xF0\x9F\x8E\xAE", L"\xD83C\xDFAE"},  // beyond the basic plane
        {std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(Widen(c.narrow), c.wide);
        EXPECT_EQ(Narrow(c.wide), c.narrow);
    }
    EXPECT_EQ(Widen("a\xFFz"), L"a\xFFFDz");
    EXPECT_EQ(Narrow(L"a\xD83Cz"), "a\xEF\xBF\xBDz") << "half a pair";
}

}  // namespace
}  // namespace optimizer
