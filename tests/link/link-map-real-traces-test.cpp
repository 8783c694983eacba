// Link maps of the real traces of other makers' instruments, with the events
// their makers stored: markers, codes and reflectances as those wrote them.
#include <gtest/gtest.h>

#include <dirent.h>

#include <memory>
#include <string>
#include <vector>

#include "link/link-map-builder.h"
#include "link/link-map-totals.h"
#include "link/sor-data-group.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"
#include "support/files.h"

namespace {

std::vector<std::string> traceFiles(const std::string& dir)
{
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (const dirent* entry = readdir(d)) {
            const std::string name = entry->d_name;
            if (name.size() > 4 && (name.substr(name.size() - 4) == ".sor" || name.substr(name.size() - 4) == ".SOR"))
                names.push_back(name);
        }
        closedir(d);
    }
    return names;
}

// Whatever a maker stored, the map is well formed: a start, an end, nodes in
// order along the link, and a return loss that is a loss.
void expectWellFormed(const TLinkMap& map, const std::string& label)
{
    ASSERT_GE(map.GetNodesNum(), 1u) << label;
    EXPECT_EQ(map.GetNode(0).GetType(), detail::TNode::linkStart) << label;
    if (map.GetNodesNum() > 1) {
        EXPECT_EQ(map.GetNodes().back().GetType(), detail::TNode::linkEnd) << label;
    }
    for (std::size_t i = 1; i < map.GetNodesNum(); ++i)
        EXPECT_LE(map.GetNode(i - 1).CalcAverPos(), map.GetNode(i).CalcAverPos() + 1e-9) << label << " node " << i;
    for (unsigned w : map.GetWavelens()) {
        const OptionalDouble orl = CalcTotalOrl(map, w);
        if (orl.first) {
            EXPECT_GT(orl.second, 0.0) << label;
        }
    }
}

TEST(LinkMapRealTraces, EveryTraceMapsAloneAndWithItselfFromTheOtherEnd)
{
    const std::string dir = testsupport::tracesDir();
    if (dir.empty())
        GTEST_SKIP() << "no real traces on this machine";
    int mapped = 0;
    for (const std::string& name : traceFiles(dir)) {
        const std::string bytes = testsupport::readFile(dir + "/" + name);
        TSorData data;
        TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
        data.Read(&file);
        if (data.KeyEvents == nullptr || data.KeyEvents->Events.count < 2)
            continue;
        TSorDataGroup alone;
        alone.AddTrace(&data, TSorDataGroup::forward, name);
        const TLinkMap map = BuildLinkMap(alone, 1.0);
        expectWellFormed(map, name);
        // One trace alone makes no node of its own: at most one per merged
        // event (those the scan leaves out, in front of a user offset or past
        // the span, make none).
        EXPECT_LE(map.GetNodesNum(), static_cast<std::size_t>(alone.GetTrace(0).merger.GetEventsNum())) << name;

        TSorDataGroup both;
        both.AddTrace(&data, TSorDataGroup::forward, name);
        both.AddTrace(&data, TSorDataGroup::backward, name);
        expectWellFormed(BuildLinkMap(both, 1.0), name + " both ways");
        ++mapped;
    }
    EXPECT_GE(mapped, 5);
}

} // namespace
