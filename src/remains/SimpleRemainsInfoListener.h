#pragma once

class SimpleRemainsInfo;

// Told on the main thread each time a size of the remains info has come in.
class SimpleRemainsInfoListener
{
public:
    virtual ~SimpleRemainsInfoListener() = default;

    virtual void onSimpleRemainsInfoChanged(SimpleRemainsInfo *info) = 0;
};
