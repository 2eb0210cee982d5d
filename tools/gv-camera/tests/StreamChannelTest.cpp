// Filled in by the tests of this suite.
#include <gtest/gtest.h>
