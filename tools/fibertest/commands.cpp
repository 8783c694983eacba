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
        analyzeCommand(),
        evaluateCommand(),
        linkMapCommand(),
    };
    return all;
}

} // namespace cli
