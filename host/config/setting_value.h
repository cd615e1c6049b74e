#pragma once

#include "host/config/config_file.h"
#include "host/config/option_tree.h"

#include <optional>
#include <string>
#include <vector>

namespace VESK::Host
{

/// Values for an option as its command line would give them, or why they are none.
struct SettingValues {
    std::vector<std::string> values;
    QString problem; ///< escaped, without a full stop; empty when all is well
};

/// The values that an option gets from the configuration. Flags want true or false, numbers a number (or a
/// text with a unit, as "30s"), options that can be repeated a list or one value, all others a text.
SettingValues valuesFromConfig(const CLI::Option &option, const ConfigValue &value);

/// The values that an option gets from a variable of the environment: for an option that can be repeated
/// they are separated by commas, flags take true, false, yes, no, on, off, 1 and 0.
SettingValues valuesFromVariable(const CLI::Option &option, const std::string &text);

/// Is that what a variable of the environment holds which sets a flag?
bool isTrue(const std::string &text);

/// Gives the option these values instead of those it has, as if they stood on the command line. The
/// sentence that says why it does not take them; empty when it did.
QString assign(CLI::Option &option, const std::vector<std::string> &values);

} // namespace VESK::Host
