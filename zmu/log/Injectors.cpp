// Reports of the system that a form injects into its sections. Each is made once, when the form is
// learned, and kept in memory for every head. It is also written to a temporary file, which nobody
// reads back: a folder that cannot take it refuses the form.
#include <zmu/monitor/ZarnData.h>

#include <zmu/log/internal/FormLines.h>
#include <zmu/log/internal/FormVariable.h>
#include <zmu/monitor/Tokens.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/platform/Files.h>
#include <zmu/platform/TemporaryFiles.h>
#include <zmu/sysinfo/ZarnSysInfoEnvApp.h>
#include <zmu/sysinfo/ZarnSysInfoEnvOp.h>
#include <zmu/sysinfo/ZarnSysInfoEnvVars.h>
#include <zmu/sysinfo/ZarnSysInfoFormatter.h>

#include <QDir>
#include <QString>
#include <QTemporaryFile>
#include <QTextStream>
#include <QThread>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zmu {

namespace {

Zarn_FORM_VAR variableOf(int injector)
{
    return static_cast<Zarn_FORM_VAR>(Zarn_FORM_VAR_SYS_INFO_ENV_APP + injector);
}

/// Runs `body`, which makes something; whatever it throws becomes the code.
template <class Body>
auto orRaise(int code, Body body)
{
    try {
        return body();
    } catch (...) {
        throw int{code};
    }
}

std::unique_ptr<ZarnSysInfo> makeSource(Zarn_FORM_VAR variable)
{
    switch (variable) {
    case Zarn_FORM_VAR_SYS_INFO_ENV_APP:
        return std::make_unique<ZarnSysInfoEnvApp>();
    case Zarn_FORM_VAR_SYS_INFO_ENV_OP:
        return std::make_unique<ZarnSysInfoEnvOp>();
    case Zarn_FORM_VAR_SYS_INFO_VARS_ENV:
        return std::make_unique<ZarnSysInfoEnvVars>();
    default:
        return nullptr;
    }
}

/// The number of the first run of digits, of which 32 bits count.
int firstNumber(const wchar_t* text, int missing, int negative)
{
    const wchar_t* digit = std::wcspbrk(text, L"0123456789");
    require(digit, missing);
    ulong32 number = 0;
    for (; *digit >= L'0' && *digit <= L'9'; ++digit)
        number = number * 10 + static_cast<ulong32>(*digit - L'0');
    require(static_cast<int>(number) >= 0, negative);
    return static_cast<int>(number);
}

} // namespace

/// The block between its marker and the head, read line by line.
class InjectorBlock {
  public:
    explicit InjectorBlock(QTextStream& form) : m_lines(form) {}

    bool seek(long start) { return m_lines.seek(start); }
    long position() const { return m_lines.position(); }

    int readCount()
    {
        require(readLine() || m_lines.atEnd(), dx::InjectorBlockNotRead);
        return firstNumber(m_line.c_str(), dx::InjectorCountMissing, dx::InjectorCountNegative);
    }

    /// The four fields of a definition line.
    std::vector<std::wstring> readDefinition()
    {
        constexpr std::size_t fieldsQty = 4;
        readAffix();
        require(m_line.size() < ZarnScratchpad::Buffer::capacity, dx::InjectorDefinitionUnusable);
        std::vector<std::wstring> fields(1);
        for (const wchar_t c : m_line) {
            if (c == L' ')
                fields.emplace_back();
            else
                fields.back() += c;
        }
        require(fields.size() == fieldsQty, dx::InjectorDefinitionUnusable);
        return fields;
    }

    /// A line that has to be there.
    const wchar_t* readAffix()
    {
        require(readLine(), m_lines.atEnd() ? dx::InjectorBlockCutShort : dx::InjectorBlockNotRead);
        return m_line.c_str();
    }

  private:
    bool readLine()
    {
        std::string_view line;
        const bool isThere = m_lines.readLine(line);
        m_line = QString::fromUtf8(line.data(), static_cast<qsizetype>(line.size())).toStdWString();
        return isThere;
    }

    FormLines m_lines;
    std::wstring m_line;
};

namespace {

/// What the paths of temporary files begin with.
QString reportFileBeginning()
{
    return QDir::tempPath() + "/Farrowlink";
}

QTemporaryFile* makeReportFiles()
{
    // When memory is short, Qt's objects crash while they are made in a thread that Qt does not
    // know, and this one also while it looks for a name of its own.
    QThread::currentThread();
    const QString name = reportFileBeginning() + "XXXXXX";
    return new QTemporaryFile[injectorsQty]{QTemporaryFile(name), QTemporaryFile(name),
                                            QTemporaryFile(name)};
}

/// Opens an injector's file, empty, for the process alone.
void openReportFile(QTemporaryFile& file)
{
    require(!QDir::tempPath().isEmpty(), dx::InjectorFileNotWritten); // there is no such folder
    removeLeftFiles(reportFileBeginning().toStdWString().c_str());
    // One that an earlier definition of the same report has opened is used again.
    require(file.open() && file.resize(0) && file.seek(0), dx::InjectorFileNotWritten);
    file.setAutoRemove(!makeNameless(file.handle()));
}

/// Writes a report to its file. Passing the limit for files would not only fail but send a deadly
/// signal.
void writeReport(QTemporaryFile& file, const QString& report)
{
    const QByteArray bytes = report.toUtf8();
    require(static_cast<u64>(bytes.size()) <= fileSizeLimit() &&
                file.write(bytes) == bytes.size() && file.flush(),
            dx::InjectorFileNotWritten);
}

/// A stream that serves a report from memory: heads are written while others wait to report. Unlike
/// one on a file it can be made, or not be made, when memory is short.
class ReportStream : public QTextStream {
  public:
    explicit ReportStream(QString report) : m_report(std::move(report))
    {
        setString(&m_report, QIODevice::ReadOnly);
    }

  private:
    QString m_report;
};

} // namespace

} // namespace zmu

using namespace zmu;

bool ZarnData::mustLearnLogFileFormInjectors(long injectorStart, ulong32 mask)
{
    const auto usesInjector = [](int varCount, const Zarn_FORM_VAR* vars) {
        return vars && std::any_of(vars, vars + varCount, [](Zarn_FORM_VAR var) {
                   return var >= variableOf(0) && var < variableOf(injectorsQty);
               });
    };
    const ZarnDataFile& file = m_fileLog;
    const bool isUsed =
        ((mask & SECTION_HEAD) && usesInjector(file.m_headVarCount, file.m_headVars)) ||
        ((mask & SECTION_BODY) && usesInjector(file.m_bodyVarCount, file.m_bodyVars)) ||
        ((mask & SECTION_TAIL) && usesInjector(file.m_tailVarCount, file.m_tailVars));
    if (isUsed && injectorStart < 0)
        Zarn_TRACE(L"ZarnData::mustLearnLogFileFormInjectors (%ld, %lu) detected a request for an "
                   L"undefined log file form injector.\n",
                   injectorStart, static_cast<unsigned long>(mask));
    return isUsed && injectorStart >= 0;
}

bool ZarnData::learnLogFileFormInjectors(long injectorStart)
{
    if (injectorStart < 0)
        return isSelfSatisfied();
    ZarnDataFile& file = m_fileLog;
    long lineStart = injectorStart;
    runGuarded(*this, dx::InjectorsUnexpected, [&] {
        require(file.m_formStream && file.m_formStream->device() && !file.m_injectorFiles &&
                    !file.m_injectorStreams,
                dx::InjectorsNotReady);
        orRaise(dx::InjectorsNoMemory, [&] {
            file.m_injectorFiles = makeReportFiles();
            file.m_injectorStreams = new QTextStream*[injectorsQty]();
        });
        InjectorBlock block(*file.m_formStream);
        require(block.seek(injectorStart), dx::InjectorSeekFailed);
        const int count = std::min(block.readCount(), injectorsQty);
        for (int i = 0; i < count; ++i) {
            lineStart = block.position();
            learnInjector(block);
        }
    });
    if (!isSelfSatisfied()) {
        m_formMistake.line = lineInForm(lineStart);
        freeInjectors();
    }
    return isSelfSatisfied();
}

void ZarnData::learnInjector(InjectorBlock& block)
{
    std::vector<std::wstring> fields = block.readDefinition();
    const Zarn_FORM_VAR variable = convertLogFileFormVarNameToEnum(fields[0].data());
    require(variable >= variableOf(0) && variable < variableOf(injectorsQty),
            dx::InjectorVarUnknown);
    const int captionPairs =
        firstNumber(fields[1].c_str(), dx::CaptionCountMissing, dx::CaptionCountNegative);
    const int datumPairs =
        firstNumber(fields[2].c_str(), dx::DatumCountMissing, dx::DatumCountNegative);
    require(m_fileLog.m_logKind == Zarn_LOG_HTML, dx::InjectorLogKindNotServed);
    const std::size_t form = fields[3].find_first_of(L"01");
    require(form != std::wstring::npos, dx::InjectorFormMissing);

    const auto source = orRaise(dx::InjectorNoSource, [&] { return makeSource(variable); });
    require(source != nullptr, dx::InjectorWithoutSource);
    const auto formatter = orRaise(dx::InjectorNoFormatter, [] {
        return std::make_unique<ZarnSysInfoFormatterHTML>(nullptr);
    });
    formatter->useShortForm(fields[3][form] == L'1');
    formatter->escapeMarkup(true);
    formatter->setSysInfo(source.get());

    const int index = variable - variableOf(0);
    QTemporaryFile& reportFile = m_fileLog.m_injectorFiles[index];
    eliminateLogFileFormInjector(index);
    openReportFile(reportFile);

    // The lines of a report that is given up are still there to be passed.
    bool isAbandoned = false;
    const auto readPairs = [&](int pairs, auto addPrefix, auto addSuffix) {
        for (int i = 0; i < pairs; ++i) {
            for (const auto add : {addPrefix, addSuffix}) {
                const wchar_t* const affix = block.readAffix();
                isAbandoned = isAbandoned || ((*formatter).*add)(affix) == -1;
            }
        }
    };
    using Formatter = ZarnSysInfoFormatter;
    readPairs(captionPairs, &Formatter::addCaptionPrefix, &Formatter::addCaptionSuffix);
    readPairs(datumPairs, &Formatter::addDatumPrefix, &Formatter::addDatumSuffix);

    QString report;
    QTextStream text(&report);
    if (isAbandoned || !formatter->reportSystemInformation(text)) {
        eliminateLogFileFormInjector(index);
        return;
    }
    writeReport(reportFile, report);
    m_fileLog.m_injectorStreams[index] = new ReportStream(report);
}

bool ZarnData::eliminateLogFileFormInjector(int index)
{
    // Its codes are not kept: whoever gives a report up has none to tell.
    int code = dx::Satisfied;
    try {
        require(index >= 0 && index < injectorsQty, dx::InjectorIndexUnknown);
        if (m_fileLog.m_injectorStreams)
            delete std::exchange(m_fileLog.m_injectorStreams[index], nullptr);
        if (m_fileLog.m_injectorFiles)
            m_fileLog.m_injectorFiles[index].close();
    } catch (int raised) {
        code = raised;
    } catch (...) {
        code = dx::EliminateInjectorUnexpected;
    }
    return code == dx::Satisfied;
}

bool ZarnData::eliminateLogFileFormInjectors()
{
    bool succeeded = true;
    for (int i = 0; i < injectorsQty; ++i)
        succeeded = eliminateLogFileFormInjector(i) && succeeded;
    return succeeded;
}

void ZarnData::freeInjectors()
{
    eliminateLogFileFormInjectors();
    delete[] std::exchange(m_fileLog.m_injectorStreams, nullptr);
    delete[] std::exchange(m_fileLog.m_injectorFiles, nullptr);
}

void ZarnData::releaseUnusedInjectors()
{
    ZarnDataFile& file = m_fileLog;
    if (!file.m_injectorStreams)
        return;
    bool isAnyLeft = false;
    for (int i = 0; i < injectorsQty; ++i) {
        if (!file.m_injectorStreams[i])
            continue;
        if (isVarInLogFileFormSection(variableOf(i), file.m_bodyVarCount, file.m_bodyVars) ||
            isVarInLogFileFormSection(variableOf(i), file.m_tailVarCount, file.m_tailVars))
            isAnyLeft = true;
        else
            eliminateLogFileFormInjector(i);
    }
    if (!isAnyLeft)
        freeInjectors();
}
