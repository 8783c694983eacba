// fibertest: the command-line tool over the library.
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "cli-app.h"

int main(int argc, char** argv)
{
    std::ios::sync_with_stdio(false);
    cli::Context context{std::cout, std::cerr, isatty(STDERR_FILENO) != 0};
    const int status = cli::run(std::vector<std::string>(argv + 1, argv + argc), context);
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "fibertest: cannot write the output\n";
        return cli::ExitBadInput;
    }
    return status;
}
