#include "host/client/path_filter.h"

#include "host/text.h"

namespace VESK::Host
{

namespace
{

// Reads a set from behind its "["; the position is then behind its "]". False when it has no end.
bool readSet(const QString &pattern, int *position, QString *expression)
{
    int end = *position;
    const bool isNegated = end < pattern.size() && QStringLiteral("!^").contains(pattern.at(end));
    end += isNegated ? 1 : 0;
    QString members;
    for (bool isFirst = true;; isFirst = false, ++end) {
        if (end >= pattern.size())
            return false;
        QChar character = pattern.at(end);
        if (character == QLatin1Char(']') && !isFirst)
            break;
        if (character == QLatin1Char('\\') && end + 1 < pattern.size())
            character = pattern.at(++end);
        const bool isRange = character == QLatin1Char('-') && !isFirst && end + 1 < pattern.size()
            && pattern.at(end + 1) != QLatin1Char(']');
        members += isRange ? QString(character) : QRegularExpression::escape(character);
    }
    *position = end + 1;
    *expression += QStringLiteral("(?!/)[%1%2]").arg(isNegated ? QStringLiteral("^") : QString(), members);
    return true;
}

// The expression for a pattern without the marks at its ends. False with the reason in `error`.
bool translate(const QString &pattern, QString *expression, QString *error)
{
    for (int i = 0; i < pattern.size();) {
        const QChar character = pattern.at(i++);
        if (character == QLatin1Char('*')) {
            const bool isDouble = i < pattern.size() && pattern.at(i) == QLatin1Char('*');
            i += isDouble ? 1 : 0;
            const bool isWholePart = isDouble && i < pattern.size() && pattern.at(i) == QLatin1Char('/')
                && (i == 2 || pattern.at(i - 3) == QLatin1Char('/'));
            i += isWholePart ? 1 : 0; // "a/**/b" is "a/b" too
            *expression += isWholePart ? QStringLiteral("(?:.*/)?")
                : isDouble             ? QStringLiteral(".*")
                                       : QStringLiteral("[^/]*");
        } else if (character == QLatin1Char('?')) {
            *expression += QStringLiteral("[^/]");
        } else if (character == QLatin1Char('[')) {
            if (!readSet(pattern, &i, expression)) {
                *error = QStringLiteral("its \"[\" has no \"]\"");
                return false;
            }
        } else {
            const bool isEscape = character == QLatin1Char('\\') && i < pattern.size();
            *expression += QRegularExpression::escape(isEscape ? pattern.mid(i++, 1) : QString(character));
        }
    }
    return true;
}

} // namespace

bool PathFilter::add(Action action, const QString &pattern, QString *error)
{
    const bool isForDirectories = pattern.endsWith(QLatin1Char('/'));
    const bool isAnchored = pattern.startsWith(QLatin1Char('/'));
    QString middle = isForDirectories ? pattern.left(pattern.size() - 1) : pattern;
    middle = isAnchored ? middle.mid(1) : middle;
    if (middle.isEmpty()) {
        *error = QStringLiteral("it is empty");
        return false;
    }
    QString expression = isAnchored ? QString() : QStringLiteral("(?:.*/)?");
    if (!translate(middle, &expression, error))
        return false;
    const QRegularExpression compiled(QRegularExpression::anchoredPattern(expression),
                                      QRegularExpression::DotMatchesEverythingOption);
    if (!compiled.isValid()) {
        *error = compiled.errorString();
        return false;
    }
    m_rules.push_back({action, pattern, compiled, isForDirectories});
    return true;
}

PathFilter::Decision PathFilter::decide(const QString &path, bool isDirectory) const
{
    Decision decision;
    decision.matched = path;
    // From the top down: what is below a directory that is left out is not looked at.
    for (int end = path.indexOf(QLatin1Char('/')); !m_rules.empty() && end >= 0;
         end = path.indexOf(QLatin1Char('/'), end + 1)) {
        const QString above = path.left(end);
        const int rule = findRule(above, true);
        if (rule >= 0 && m_rules[static_cast<std::size_t>(rule)].action == Action::Exclude)
            return {false, rule, above};
    }
    decision.rule = findRule(path, isDirectory);
    if (decision.rule >= 0)
        decision.isTaken = m_rules[static_cast<std::size_t>(decision.rule)].action == Action::Include;
    return decision;
}

int PathFilter::findRule(const QString &path, bool isDirectory) const
{
    for (std::size_t i = 0; i < m_rules.size(); ++i) {
        const Rule &rule = m_rules[i];
        if ((isDirectory || !rule.isForDirectories) && rule.expression.match(path).hasMatch())
            return static_cast<int>(i);
    }
    return -1;
}

QString PathFilter::ruleText(int rule) const
{
    const Rule &found = m_rules.at(static_cast<std::size_t>(rule));
    return (found.action == Action::Include ? QStringLiteral("--include '%1'")
                                            : QStringLiteral("--exclude '%1'"))
        .arg(escaped(found.pattern));
}

} // namespace VESK::Host
