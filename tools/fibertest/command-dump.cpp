// fibertest dump: every block of a trace, as JSON or as the text dump.
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <string>
#include <vector>

#include "commands.h"
#include "json-writer.h"
#include "sor/sor-block-aux-events.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-crc.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-emb-data.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-link-parameters.h"
#include "sor/sor-block-map.h"
#include "sor/sor-block-rfts-events.h"
#include "sor/sor-block-rfts-parameters.h"
#include "sor/sor-block-special.h"
#include "sor/sor-block-supplier-parameters.h"
#include "sor/sor-checksum.h"
#include "sor/sor-field-visitor.h"
#include "trace-file.h"

namespace cli {

namespace {

// Turns a block's field walk into JSON members. Lists of plain numbers (the
// points) are written compactly.
class JsonFields : public TSorFieldVisitor
{
public:
    explicit JsonFields(JsonWriter& writer) : json(writer) {}

    void Int(const char* name, std::int64_t value) override
    {
        if (name == nullptr && pendingList()) {
            lists.back().numbers.push_back(value);
            return;
        }
        open(name);
        json.value(value);
    }
    void Real(const char* name, double value) override
    {
        open(name);
        json.value(value);
    }
    void Text(const char* name, const TString& value) override
    {
        open(name);
        json.value(std::string(value.data, static_cast<std::size_t>(value.length > 0 ? value.length : 0)).c_str());
    }
    void Bytes(const char* name, const char* data, std::size_t size) override
    {
        static const char digits[] = "0123456789abcdef";
        std::string hex;
        hex.reserve(size * 2);
        for (std::size_t i = 0; i < size; ++i) {
            const auto c = static_cast<unsigned char>(data[i]);
            hex += digits[c >> 4];
            hex += digits[c & 0xF];
        }
        open(name);
        json.value(hex);
    }
    void BeginList(const char* name) override
    {
        if (!lists.empty())
            start(lists.back());
        lists.push_back({name != nullptr ? name : "", name != nullptr, false, {}});
    }
    void EndList() override
    {
        List list = lists.back();
        if (list.started) {
            lists.pop_back();
            json.endArray();
            return;
        }
        lists.pop_back();
        if (list.named)
            json.key(list.name);
        json.compactIntegers(list.numbers);
    }
    void BeginRecord(const char* name) override
    {
        open(name);
        json.beginObject();
    }
    void EndRecord() override { json.endObject(); }

private:
    struct List
    {
        std::string name;
        bool named;
        bool started;
        std::vector<std::int64_t> numbers;
    };

    bool pendingList() const { return !lists.empty() && !lists.back().started; }

    // A list becomes an ordinary array once something other than a plain
    // number arrives in it.
    void start(List& list)
    {
        if (list.started)
            return;
        if (list.named)
            json.key(list.name);
        json.beginArray();
        for (std::int64_t n : list.numbers)
            json.value(n);
        list.numbers.clear();
        list.started = true;
    }

    void open(const char* name)
    {
        if (!lists.empty())
            start(lists.back());
        if (name != nullptr)
            json.key(name);
    }

    JsonWriter& json;
    std::vector<List> lists;
};

const TSorBlock* knownBlock(const TSorData& data, const TString& id)
{
    const std::pair<const char*, const TSorBlock*> blocks[] = {
        {"GenParams", data.GenParams}, {"SupParams", data.SupParams},   {"FxdParams", data.FxdParams},
        {"KeyEvents", data.KeyEvents}, {"LnkParams", data.LnkParams},   {"DataPts", data.DataPts},
        {"RFTSParams", data.RFTSParams}, {"RFTSEvents", data.RFTSEvents}, {"EmbData", data.EmbData},
        {"AUXEvents", data.AUXEvents}, {"AUXParams", data.AUXParams},   {"Cksum", data.Cksum}};
    for (const auto& [name, block] : blocks)
        if (id == name)
            return block;
    return nullptr;
}

void dumpJson(const LoadedTrace& trace, std::ostream& out)
{
    const TSorData& data = *trace.data;
    JsonWriter json(out);
    JsonFields fields(json);
    json.beginObject();
    json.member("file", trace.path);
    json.member("bytes", static_cast<std::int64_t>(trace.bytes.size()));
    json.member("truncated", trace.truncated);
    json.key("map");
    json.beginObject();
    data.Map->Fields(fields);
    json.endObject();

    json.key("blocks");
    json.beginArray();
    for (int i = 0; i < data.Map->Entries.count; ++i) {
        const TSorBlockMapBlockInfo& entry = *data.Map->Entries.data[i];
        json.beginObject();
        json.member("name", entry.ID.data);
        json.member("revision", static_cast<std::int64_t>(entry.RevisionNo));
        json.member("size", static_cast<std::int64_t>(entry.Size));
        const TSorBlock* block = knownBlock(data, entry.ID);
        json.member("foreign", block == nullptr);
        if (block != nullptr && entry.Size > 0) {
            json.key("fields");
            json.beginObject();
            block->Fields(fields);
            json.endObject();
        }
        json.endObject();
    }
    json.endArray();

    const TSorChecksumCheck check =
        CheckStoredChecksum(trace.bytes.data(), static_cast<unsigned long>(trace.bytes.size()));
    json.key("checksum");
    json.beginObject();
    json.member("stored", static_cast<std::int64_t>(check.stored));
    json.member("valid", check.convention != TSorChecksumConvention::NotFound &&
                             check.convention != TSorChecksumConvention::NeverComputed &&
                             check.convention != TSorChecksumConvention::Mismatch);
    json.member("convention", DescribeChecksumConvention(check.convention));
    json.endObject();
    json.endObject();
}

void dumpText(const TSorData& data, std::ostream& out)
{
    char* buffer = nullptr;
    std::size_t size = 0;
    FILE* memory = open_memstream(&buffer, &size);
    if (memory == nullptr)
        throw InputError("cannot make the text dump: out of memory");
    data.Damp(memory, 0);
    std::fclose(memory);
    out.write(buffer, static_cast<std::streamsize>(size));
    std::free(buffer);
}

int runDump(const ParsedArgs& args, Context& context)
{
    const LoadedTrace trace = loadTrace(args.positional()[0]);
    if (trace.truncated)
        context.err << "fibertest dump: warning: '" << trace.path << "' ends early; showing what there is\n";
    if (args.has("text"))
        dumpText(*trace.data, context.out);
    else
        dumpJson(trace, context.out);
    return ExitDone;
}

} // namespace

Command dumpCommand()
{
    Command c;
    c.name = "dump";
    c.summary = "print every block of a trace as JSON (or as the text dump)";
    c.description =
        "Prints the Map and every block of a trace as JSON on standard output: for each block in file\n"
        "order its name, revision and size, and for the blocks this library knows every field under the\n"
        "format's short names. Foreign blocks appear with name, revision and size. The keys are listed\n"
        "in docs/cli.md.";
    c.options = {{"text", 0, "", "print the diagnostic text dump instead of JSON"}};
    c.positionals = {{"FILE"}};
    c.run = runDump;
    return c;
}

} // namespace cli
