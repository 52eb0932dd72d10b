// Reports situations through the proxy and keeps, in a file that outlives it, how many calls have
// returned with success:
// cluster_writer PROXY COUNT-FILE NAME SITUATIONS-A-SECOND STOP-FILE LIMIT, of which the rate and
// the limit may be 0 for none
#include <QCoreApplication>
#include <QFile>
#include <QLibrary>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 7)
        return 2;
    using Entry = int (*)(unsigned int, long long, int, const wchar_t*, const wchar_t*);
    const auto report =
        reinterpret_cast<Entry>(QLibrary(arguments[1]).resolve("ProxyRespondToSituation"));
    QFile file(arguments[2]);
    if (!report || !file.open(QIODevice::ReadWrite) || !file.resize(sizeof(std::uint64_t)))
        return 3;
    uchar* const memory = file.map(0, sizeof(std::uint64_t));
    if (!memory)
        return 3;
    const std::atomic_ref<std::uint64_t> count(*reinterpret_cast<std::uint64_t*>(memory));
    const std::wstring name = arguments[3].toStdWString();
    const double rate = arguments[4].toDouble();
    const std::uint64_t limit = arguments[6].toULongLong();

    const auto begin = std::chrono::steady_clock::now();
    std::uint64_t number = 0;
    for (unsigned i = 1; limit == 0 || number < limit; ++i) {
        const std::wstring text =
            L"writer " + name + L" situation " + std::to_wstring(number + 1) + L" of many";
        if (report(2, 4711, -100, L"%s", text.c_str()) != 0)
            count.store(++number, std::memory_order_release);
        if (i % 16 == 0) {
            if (QFile::exists(arguments[5]))
                return 0;
            if (rate > 0)
                std::this_thread::sleep_until(begin + std::chrono::duration<double>(i / rate));
        }
    }
    return 0;
}
