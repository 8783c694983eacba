// Running the tool in process for the CLI tests.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "cli-app.h"

namespace clitest {

// What one run of the tool gave: exit status, standard output and error.
struct Outcome
{
    int status;
    std::string out;
    std::string err;
};

inline Outcome runTool(const std::vector<std::string>& args)
{
    std::ostringstream out;
    std::ostringstream err;
    cli::Context context{out, err, false};
    const int status = cli::run(args, context);
    return {status, out.str(), err.str()};
}

} // namespace clitest
