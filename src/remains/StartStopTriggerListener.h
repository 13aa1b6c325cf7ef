#pragma once

class StartStopTrigger;

// Told by a StartStopTrigger when it actually changes state. Both calls arrive on the
// thread that started or stopped the trigger, while the trigger's lock is held.
class StartStopTriggerListener
{
public:
    virtual ~StartStopTriggerListener() = default;

    virtual void onTriggerStarted(StartStopTrigger *trigger) = 0;
    virtual void onTriggerStopped(StartStopTrigger *trigger) = 0;
};
