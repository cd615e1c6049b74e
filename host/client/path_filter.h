#pragma once

#include <QtCore/QRegularExpression>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <vector>

namespace VESK::Host
{

/// Chooses among the paths of a tree by a list of rules, of which the first that matches a path decides;
/// what no rule matches is taken. A path is left out as well when a directory above it is.
///
/// Patterns: `*` stands for any text without "/", `**` for any text, `?` for one character but "/",
/// `[abc]`, `[a-z]` and `[!a-z]` for one of a set, `\` takes the next character as it is. A pattern matches
/// the last parts of a path, as many as it has; one that begins with "/" matches from the top of the tree;
/// one that ends with "/" matches directories only.
class PathFilter
{
public:
    enum class Action { Include, Exclude };

    struct Decision {
        bool isTaken = true;
        int rule = -1; ///< the number of the rule that decided, -1 when none did
        QString matched; ///< the path, or the directory above it, that the rule matched
    };

    /// Appends a rule. False when the pattern is no pattern, with the reason in `error`.
    [[nodiscard]] bool add(Action action, const QString &pattern, QString *error);

    /// Decides on a path relative to the top of the tree, without a "/" at its ends.
    Decision decide(const QString &path, bool isDirectory) const;
    bool takes(const QString &path, bool isDirectory) const { return decide(path, isDirectory).isTaken; }

    bool isEmpty() const { return m_rules.empty(); }

    /// As in `--exclude '*.tmp'`.
    QString ruleText(int rule) const;

private:
    struct Rule {
        Action action;
        QString pattern;
        QRegularExpression expression; // for a whole path
        bool isForDirectories;
    };

    int findRule(const QString &path, bool isDirectory) const;

    std::vector<Rule> m_rules;
};

} // namespace VESK::Host
