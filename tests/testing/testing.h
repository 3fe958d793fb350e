// Shared by nearly every test: GoogleTest and its matchers, the everyday headers of the standard
// library, programs, recorders and folders, and the names of all, so that a test says `Process` and
// `HasSubstr` as they are.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "testing/temporary_folder.h"
#ifndef _WIN32 // where portable tests run
#include "testing/process.h"
#include "testing/recorders.h"
#endif

namespace korvex {

// NOLINTBEGIN(google-build-using-namespace,google-global-names-in-headers): in tests alone
using namespace testing;
using namespace ::testing;
// NOLINTEND(google-build-using-namespace,google-global-names-in-headers)
using std::chrono::milliseconds;
using Texts = std::vector<std::string>;

inline milliseconds TimeOf(const std::function<void()>& action)
{
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

} // namespace korvex
