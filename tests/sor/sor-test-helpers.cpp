#include "sor-test-helpers.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-link-parameters.h"
#include "sor/sor-block-supplier-parameters.h"
#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

namespace sortest {

namespace {

class LineCollector : public TSorFieldVisitor
{
public:
    std::vector<std::string> lines;

    void Int(const char* name, std::int64_t value) override { add(name, std::to_string(value)); }
    void Real(const char* name, double value) override
    {
        char text[40];
        std::snprintf(text, sizeof text, "%.17g", value);
        add(name, text);
    }
    void Text(const char* name, const TString& value) override
    {
        add(name, "'" + std::string(value.data, static_cast<std::size_t>(value.length)) + "'");
    }
    void Bytes(const char* name, const char* data, std::size_t size) override
    {
        std::string hex;
        char two[3];
        for (std::size_t i = 0; i < size; ++i) {
            std::snprintf(two, sizeof two, "%02x", static_cast<unsigned char>(data[i]));
            hex += two;
        }
        add(name, hex);
    }
    void BeginList(const char* name) override { open(name != nullptr ? name : "list", true); }
    void EndList() override { path.pop_back(); }
    void BeginRecord(const char* name) override { open(name != nullptr ? name : "", false); }
    void EndRecord() override { path.pop_back(); }

private:
    struct Level
    {
        std::string name;
        bool list;
        int index;
    };

    std::string prefix() const
    {
        std::string p;
        for (const Level& l : path)
            p += l.name + ".";
        return p;
    }
    void open(const std::string& name, bool list)
    {
        std::string shown = name;
        if (!path.empty() && path.back().list)
            shown = std::to_string(path.back().index++) + (name.empty() ? "" : ":" + name);
        path.push_back({shown, list, 0});
    }
    void add(const char* name, const std::string& value)
    {
        std::string key = name != nullptr ? name : "";
        if (!path.empty() && path.back().list && name == nullptr)
            key = std::to_string(path.back().index++);
        lines.push_back(prefix() + key + "=" + value);
    }

    std::vector<Level> path;
};

} // namespace

Bytes& Bytes::text(const std::string& t)
{
    s.append(t.c_str(), t.size() + 1);
    return *this;
}

Bytes& Bytes::raw(const std::string& t)
{
    s += t;
    return *this;
}

Bytes& Bytes::raw(const char* t, std::size_t n)
{
    s.append(t, n);
    return *this;
}

Bytes& Bytes::i16(long v)
{
    return littleEndian(v, 2);
}

Bytes& Bytes::i32(long v)
{
    return littleEndian(v, 4);
}

Bytes& Bytes::littleEndian(long v, int n)
{
    for (int i = 0; i < n; ++i)
        s.push_back(static_cast<char>((static_cast<unsigned long>(v) >> (8 * i)) & 0xFF));
    return *this;
}

std::string written(TSorBlock& block)
{
    TSorFile file("", "m");
    block.Write(&file);
    return file.GetDataSize() == 0 ? std::string() : std::string(file.GetData(), file.GetDataSize());
}

std::string written(TSorBlock& block, std::uint16_t revision)
{
    block.RevisionNo = revision;
    return written(block);
}

std::int32_t readBack(TSorBlock& block, const std::string& bytes, std::uint16_t revision, unsigned long* end)
{
    block.RevisionNo = revision;
    return readBack(block, bytes, end);
}

std::int32_t readBack(TSorBlock& block, const std::string& bytes, unsigned long* end)
{
    TSorFile file("", "m");
    file.SetData(bytes.data(), static_cast<unsigned long>(bytes.size()));
    file.Seek(0);
    block.Read(&file);
    const std::int32_t status = file.Status;
    if (end != nullptr)
        *end = file.Tell();
    return status;
}

std::string dampOf(const TSorBlock& block)
{
    char* text = nullptr;
    std::size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    block.Damp(out);
    std::fclose(out);
    std::string result(text, size);
    std::free(text);
    return result;
}

::testing::AssertionResult throwsSor(TSorException::Kind kind, const std::function<void()>& action)
{
    try {
        action();
    } catch (const TSorException& e) {
        if (e.GetKind() == kind)
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "threw \"" << e.what() << "\"";
    }
    return ::testing::AssertionFailure() << "did not throw";
}

::testing::AssertionResult nullFileRefused(TSorBlock& block)
{
    if (auto read = throwsSor(TSorException::NullPointer, [&] { block.Read(nullptr); }); !read)
        return read << " on Read of a null file";
    if (auto write = throwsSor(TSorException::NullPointer, [&] { block.Write(nullptr); }); !write)
        return write << " on Write of a null file";
    return ::testing::AssertionSuccess();
}

std::vector<std::string> fieldLines(const TSorBlock& block)
{
    LineCollector collector;
    block.Fields(collector);
    return collector.lines;
}

std::unique_ptr<TSorData> makeSampleTrace()
{
    auto data = std::make_unique<TSorData>();
    data->GenParams->CID = "CABLE-7";
    data->GenParams->FID = "F-012";
    data->GenParams->NW = 1550;
    data->GenParams->OL = "Exchange A";
    data->GenParams->TL = "Cabinet 12";
    data->SupParams->SN = "FiberTest";
    data->SupParams->OT = "[61] module";
    auto& fxd = *data->FxdParams;
    fxd.SetTPW(1);
    fxd.PWU[0] = 100;
    fxd.DS[0] = 50000;  // 5 x 100 ps a point, about 0.51 m
    fxd.NPPW[0] = 2000;
    fxd.GI = 146820;
    fxd.AW = 15500;
    fxd.DTS = 1700000000;
    auto& points = *data->DataPts;
    points.GetSubBlock()->Points.assign(2000, 0);
    for (long n = 0; n < 2000; ++n) {
        // 0.2 dB/km over 0.51 m steps, a 0.3 dB splice at point 700, an end
        // reflection at 1500, noise after it.
        double level = -3.0 - 0.2 * n * 0.00051;
        if (n >= 700)
            level -= 0.3;
        if (n >= 1500 && n < 1504)
            level += 2.0;
        if (n >= 1504)
            level = -28.0 - 0.5 * std::sin(n * 0.7);
        points.GetSubBlock()->Points[static_cast<std::size_t>(n)] =
            static_cast<std::uint16_t>(std::lround(-level * 1000.0));
    }
    points.RebuildWholeCache();
    auto& events = *data->KeyEvents;
    const std::int32_t epts[] = {0, 700 * 5, 1500 * 5};
    for (int i = 0; i < 3; ++i) {
        auto* e = new TSorBlockKeyEvents1E();
        e->EPT = epts[i];
        e->EL = static_cast<std::int16_t>(i == 1 ? 300 : 0);
        e->ER = i == 2 ? -14000 : 0;
        e->EC = i == 2 ? "1E9999" : "0F9999";
        events.Events.AddData(e);
    }
    events.TNKE = 3;
    events.ENSync();
    events.EEL = 600;
    auto* landmark = new TSorBlockLinkParamLandmark();
    landmark->LML = 700 * 5;
    landmark->REN = 2;
    landmark->CMT = "manhole 4";
    data->LnkParams->InsertLandmark(landmark);
    data->AUXParams->ATP0 = 500;
    data->AUXParams->TYP = "RL";
    return data;
}

std::string writeToBytes(TSorData& data)
{
    TSorFile file("", "m");
    data.Write(&file);
    return std::string(file.GetData(), file.GetDataSize());
}

ReadResult readFromBytes(const std::string& bytes, bool minimal)
{
    ReadResult result{std::make_unique<TSorData>(), 0};
    TSorFile file(bytes.data(), static_cast<unsigned long>(bytes.size()));
    if (minimal)
        result.data->ReadMinimal(&file);
    else
        result.data->Read(&file);
    result.status = file.Status;
    return result;
}

} // namespace sortest
