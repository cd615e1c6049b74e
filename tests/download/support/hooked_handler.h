#pragma once

#include "tests/listing/support/staged_handler.h"

namespace VESK::Test
{

/// A handler whose parameters and log lines a test sees, on the task thread, as they come.
class HookedHandler : public StagedHandler
{
public:
    std::function<void(const QString &key)> afterSet;
    std::function<void(const QString &message)> onLog;

    bool setParam(const QString &key, const QString &value) override
    {
        const bool isSet = StagedHandler::setParam(key, value);
        if (afterSet)
            afterSet(key);
        return isSet;
    }

    void log(const QString &level, const QString &message) override
    {
        if (onLog)
            onLog(message);
        StagedHandler::log(level, message);
    }
};

} // namespace VESK::Test
