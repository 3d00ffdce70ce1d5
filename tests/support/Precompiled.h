#pragma once

// Headers nearly every test file includes, compiled once for the whole suite: the
// Windows and GoogleTest headers dominate the build time of each test file otherwise.

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>
