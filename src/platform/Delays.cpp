#include "Delays.h"

#include <QByteArray>
#include <QtGlobal>

#include <atomic>

namespace {

constexpr int kUnset = 0;
std::atomic<int> g_divisor{kUnset};

int divisorFromEnvironment()
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue("TARNWICK_TEST_DELAY_DIVISOR", &ok);
    return ok && value > 1 ? value : 1;
}

} // namespace

int Delays::testDivisor()
{
    int divisor = g_divisor.load();
    if (divisor == kUnset) {
        divisor = divisorFromEnvironment();
        g_divisor.store(divisor);
    }
    return divisor;
}

void Delays::setTestDivisor(int divisor)
{
    g_divisor.store(divisor > 1 ? divisor : 1);
}

Delays::ms Delays::scaled(ms shipped)
{
    const auto value = shipped / testDivisor();
    return value < ms{1} ? ms{1} : value;
}
