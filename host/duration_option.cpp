#include "host/duration_option.h"

#include <map>

namespace VESK::Host
{

CLI::Validator durationInSeconds()
{
    static const std::map<std::string, double> units = {{"ms", 0.001}, {"s", 1},    {"m", 60},
                                                        {"min", 60},   {"h", 3600}, {"d", 86400}};
    CLI::AsNumberWithUnit validator(units, CLI::AsNumberWithUnit::CASE_SENSITIVE);
    validator.description(""); // the option says what it wants
    return validator;
}

} // namespace VESK::Host
