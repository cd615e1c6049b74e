#pragma once

#include <QtCore/QString>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace VESK::Host
{

/// A value of the configuration as it was written.
struct ConfigValue {
    enum class Kind { Boolean, Integer, Float, String, List, Other };
    Kind kind = Kind::Other;
    std::string text; ///< of a single value, as an option takes it
    std::vector<ConfigValue> items; ///< of a list
    int line = 0;
};

/// A table: "[client]", or "[remote.NAME]".
struct ConfigSection {
    int line = 0;
    std::map<std::string, ConfigValue> values;
};

/// A line of a configuration file that is wrong, for a person.
struct ConfigProblem {
    int line = 0; ///< 0: the file as a whole
    QString what; ///< escaped, without a full stop
};

/// A configuration file, read but not yet compared with what the program knows.
struct ConfigFile {
    QString path; ///< empty: there is none
    std::map<std::string, ConfigSection> sections; ///< "" is the top; remotes are not among them
    std::map<std::string, ConfigSection> remotes; ///< by NAME
    std::vector<ConfigProblem> problems; ///< what is no TOML, or no table where one must be
};

/// "FILE:LINE", escaped; without the line where that is 0.
QString configPlace(const QString &path, int line);

/// Reads a TOML file. What is wrong with its form is among its problems; null when it cannot be opened,
/// with errno set.
std::optional<ConfigFile> readConfigFile(const QString &path);

} // namespace VESK::Host
