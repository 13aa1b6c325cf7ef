#include "Delays.h"

#include <QtGlobal>

#include <atomic>

namespace {

std::atomic<int> g_divisor{1};

} // namespace

int Delays::testDivisor()
{
    return g_divisor.load();
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

void Delays::adoptTestDivisor()
{
#ifdef TW_TEST_DELAYS
    bool ok = false;
    const int divisor = qEnvironmentVariableIntValue(kTestDivisorVariable, &ok);
    if (ok)
        setTestDivisor(divisor);
#endif
    qunsetenv(kTestDivisorVariable);
}
