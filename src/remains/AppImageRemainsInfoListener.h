#pragma once

class AppImageRemainsInfo;

// Told on the main thread each time a size of the AppImage remains info has come in.
class AppImageRemainsInfoListener
{
public:
    virtual ~AppImageRemainsInfoListener() = default;

    virtual void onAppImageRemainsInfoChanged(AppImageRemainsInfo *info) = 0;
};
