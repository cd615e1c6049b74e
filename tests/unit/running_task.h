#pragma once

#include "vesk_base/vesk_base.h"

#include <memory>
#include <utility>

namespace VESK::Test
{

/// A handler whose task the test starts and ends.
class RunningTask : public VeskBase
{
public:
    void begin() { m_scope = std::make_unique<TaskScope>(*this); }
    void end() { m_scope.reset(); }

    /// Takes `path` as the temporary file.
    [[nodiscard]] bool claim(const QString &path) { return setParam(QStringLiteral("tmpFilePath"), path); }
    QString claimed() { return getParam(QStringLiteral("tmpFilePath")); }

private:
    std::unique_ptr<TaskScope> m_scope;
};

} // namespace VESK::Test
