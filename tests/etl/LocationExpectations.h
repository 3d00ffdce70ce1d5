#pragma once

// Expectations on the answers of the property locator.

#include "etl/PropertyLocator.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace Testing {

inline void ExpectAt(const Etl::PropertyLocation& location, uint32_t offset, uint32_t size)
{
    EXPECT_EQ(location.status, Etl::StatusSuccess);
    EXPECT_EQ(location.offset, offset);
    EXPECT_EQ(location.size, size);
}

// A failure leaves offset and size 0.
inline void ExpectStatus(const Etl::PropertyLocation& location, uint32_t status)
{
    EXPECT_EQ(location.status, status);
    EXPECT_EQ(location.offset, 0u);
    EXPECT_EQ(location.size, 0u);
}

} // namespace Testing
