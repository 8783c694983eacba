#include "commands.h"

namespace cli {

const std::vector<Command>& commands()
{
    static const std::vector<Command> all = {
        infoCommand(),
        dumpCommand(),
        pointsCommand(),
        resaveCommand(),
        editCommand(),
        demoCommand(),
        synthCommand(),
    };
    return all;
}

} // namespace cli
