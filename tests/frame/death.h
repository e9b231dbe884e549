#pragma once

#include <gtest/gtest.h>

namespace frame_test {

/// What a program leaves behind when it ends itself over a broken rule: the exception that nobody handled.
inline constexpr int kEndedItself = static_cast<int>(0xE0565831);

}  // namespace frame_test

/// The statement, run in a process of its own, ends that process through the unhandled exception.
#define EXPECT_ENDS_PROCESS(statement) \
    EXPECT_EXIT(statement, testing::ExitedWithCode(frame_test::kEndedItself), "")
