#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <vector>

namespace VESK::Host
{

/// One thing that the doctor looked at.
struct Finding {
    enum class Grade {
        Good,
        Note, ///< worth knowing, and nothing to mend
        Slow, ///< makes transfers slow, or will make some fail
        Unreachable, ///< no transfer can begin
    };
    QString check; ///< a word: "name", "reach", "hello", "delay", "clock", "packets", "buffers", "files",
                   ///< "module", "disk", "links"
    Grade grade = Grade::Good;
    QString text; ///< one sentence without a full stop, escaped
    QStringList mend; ///< lines to type or do, one by one; empty when all is well
};

/// "good", "note", "slow" or "unreachable".
QString gradeWord(Finding::Grade grade);

/// The finding in lines for a person, with line ends.
QString findingText(const Finding &finding);

/// The finding as the fields of an event.
QJsonObject findingFields(const Finding &finding);

/// The worst of them; Good when there is none.
Finding::Grade worstGrade(const std::vector<Finding> &findings);

} // namespace VESK::Host
