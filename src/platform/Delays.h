#pragma once

#include <chrono>

// Every named delay of the helper, in one place.
//
// The shipped values never change. Tests shorten all of them at once through one
// test-only setting, a divisor: in-process with setTestDivisor(); a helper started as
// a process by a test takes it from TARNWICK_TEST_DELAY_DIVISOR, but only when built
// with TW_TEST_DELAYS (the test builds), never a plain or installed build.
class Delays
{
public:
    using ms = std::chrono::milliseconds;

    static constexpr ms kTrashDebounce{2000};      // quiet time before the Trash is re-read
    static constexpr ms kTrashDebounceCeiling{10000}; // continuous changes postpone a re-read this long at most
    static constexpr ms kWatchRetry{60000};        // a Trash the kernel refused to watch is tried again this often
    static constexpr ms kFolderSearch{2000};       // wait before a moved-in folder is searched
    static constexpr ms kClearExclusions{5000};    // a clear command takes effect this late
    static constexpr ms kMetadataSearchLimit{30000};
    static constexpr ms kMetadataWalkReuse{2000};  // a finished walk answers new searches this long
    static constexpr ms kFocusLossGrace{2000};     // a notification ignores focus loss this long
    static constexpr ms kWorkerIdlePoll{1000};     // an idle size worker looks for work this often
    static constexpr ms kFadeIn{1000};             // the notification window's fade-in
    static constexpr ms kAnswerKeyGuard{600};      // a shown notification ignores its answering keys this long
    static constexpr ms kThreadRetry{1000};        // a thread the system refused is tried again
    static constexpr ms kSocketPeerLimit{5000};    // a peer of the open-file socket has this long
    static constexpr ms kSocketRetry{1000};        // a failed accept or socket re-creation waits this long
    static constexpr ms kPresenterPing{5000};      // a running presenter is asked whether it answers this often
    static constexpr ms kPresenterHang{15000};     // a presenter silent this long is replaced
    static constexpr ms kPresenterRetry{60000};    // arrivals that found no display are offered again this often
    static constexpr ms kPresenterLinger{5000};    // an idle presenter stays this long for the next arrival

    // The delay as the running process uses it: the shipped value divided by the
    // test divisor (1 outside tests), never below one millisecond.
    static ms scaled(ms shipped);
    static int scaledMs(ms shipped) { return static_cast<int>(scaled(shipped).count()); }

    static int testDivisor();
    static void setTestDivisor(int divisor);
    // The divisor a test gave this process in its environment, honoured only by test
    // builds (TW_TEST_DELAYS); the variable is removed from the environment in every
    // build, so that no program this one starts inherits it. Called first in main().
    static void adoptTestDivisor();

    // The environment variable a test passes to a helper it starts.
    static constexpr const char *kTestDivisorVariable = "TARNWICK_TEST_DELAY_DIVISOR";
};
