// Running the tool in process for the CLI tests.
#pragma once

#include <picojson.h>

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

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

// The JSON a command printed; a parse error fails the test.
inline picojson::value parsedJson(const std::string& text)
{
    picojson::value v;
    EXPECT_EQ(picojson::parse(v, text), "");
    return v;
}

// The same when an object is expected (an empty one otherwise).
inline picojson::object parsedObject(const std::string& text)
{
    const picojson::value v = parsedJson(text);
    return v.is<picojson::object>() ? v.get<picojson::object>() : picojson::object{};
}

} // namespace clitest
