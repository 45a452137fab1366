#ifndef ORVKIT_TEST_TIME_H
#define ORVKIT_TEST_TIME_H

#include <chrono>

// Every wall-clock limit of a test, stretched under an emulator by the factor
// that ctest's time-outs grow by (tools/testkit/CMakeLists.txt).
#ifndef ORVKIT_TEST_TIME_FACTOR
#define ORVKIT_TEST_TIME_FACTOR 1
#endif

constexpr int scaledMs(int milliseconds) { return milliseconds * ORVKIT_TEST_TIME_FACTOR; }

template <class Rep, class Period>
constexpr std::chrono::duration<Rep, Period> scaled(std::chrono::duration<Rep, Period> limit)
{
    return limit * ORVKIT_TEST_TIME_FACTOR;
}

#endif
