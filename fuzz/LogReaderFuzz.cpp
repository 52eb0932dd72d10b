// A log and the form that it is read with: nothing of the log behind its head is dropped, whatever
// both are.
#include "Support.h"

#include <tools/log/LogReader.h>
#include <tools/log/Output.h>

#include <stdexcept>

using namespace zmu_fuzz;
using namespace zmu_tools::logs;

namespace {

void readLog(const QString& path, Forms& forms, std::size_t fileSize)
{
    LogReader log(path, forms, false);
    Entry entry;
    std::string output;
    std::size_t units = 0;
    while (log.next(entry, true)) {
        FUZZ_CHECK(!entry.text.empty());
        units += entry.text.size();
        output.clear();
        appendJsonLine(output, entry, "\"log\"");
        FUZZ_CHECK(output.find('\n') == output.size() - 1);
        appendTextLine(output, entry, {true, 40});
        for (const TextView value : entry.values)
            FUZZ_CHECK(value.empty() ||
                       (value.data() >= entry.text.data() &&
                        value.data() + value.size() <= entry.text.data() + entry.text.size()));
    }
    FUZZ_CHECK(units + log.tail().size() <= fileSize);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static const std::string formPath = pathOf("form.html");
    static const std::string logPath = pathOf("log.html");
    Input input(bytes, size);
    const std::string form = input.text();
    const bool isWide = input.flag();
    const std::string log = input.rest();
    writeFile(formPath, form);
    std::string file = log;
    if (isWide) {
        file = "\xFF\xFE";
        for (const char byte : log)
            (file += byte) += '\0';
    }
    writeFile(logPath, file);
    try {
        Forms forms(QString::fromStdString(formPath));
        readLog(QString::fromStdString(logPath), forms, file.size());
    } catch (const std::runtime_error&) {
        // the form cannot be used
    }
    Forms found{QString()};
    readLog(QString::fromStdString(logPath), found, file.size());
    return 0;
}
