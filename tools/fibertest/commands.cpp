#include "commands.h"

namespace cli {

const std::vector<Command>& commands()
{
    static const std::vector<Command> all = {
        demoCommand(),
    };
    return all;
}

} // namespace cli
