#pragma once

#include <QElapsedTimer>
#include <QTextStream>

#include <algorithm>
#include <functional>
#include <vector>

// What the benchmark programs share: their output, and the median of timed runs.

inline QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

inline double medianMilliseconds(int runs, const std::function<void()> &work)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        work();
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}
