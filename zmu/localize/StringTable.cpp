// The built-in string table: every text that the library asks for by ID.
#include <zmu/localize/StringTable.h>

#include <zmu/platform/Win32.h>

#include <QObject>
#include <QString>

#include <algorithm>
#include <iterator>

namespace {

struct Row {
    unsigned int id;
    const char* text; // UTF-8
};

// In ascending order of the IDs, which the look-up relies on.
// clang-format off
constexpr Row table[] = {
    // Links to code references: one number, given twice.
    {10001, "<a href=\"Codes/WBT.html#%lu\">WBT%lu</a>"},
    {10002, "<a href=\"Codes/WDB.html#%d\">WDB%d</a>"},
    {10003, "<a href=\"Codes/WLE.html#%lu\">WLE%lu</a>"},
    {10004, "<a href=\"Codes/WSE.html#%lu\">WSE%lu</a>"},
    {10005, "<a href=\"Codes/WSW.html#%d\">WSW%d</a>"},

    // The series note, a response spec, and plain words and names.
    {10006, "1~-1~2~u`s~||``This log file is #%1!u! in a series that began with %2!s!.`"},
    {10007, "Unknown"},
    {10008, "Log"},
    {10009, "bpw_template.html"},
    {10010, "aps_template.html"},
    {10011, "Templates/"},
    {10014, "1~-1~2~u`s`u~||``This log file is #%1!u! in a series that began with %2!s!. Before it %3!u! situations found no log file to be written to.`"},

    // The built-in form, and the row that stands in for a report without room.
    {10021, "<!-- SituationID=[SITUATION_ID] -->[YEAR]-[MONTH]-[DAY] [HOURS]:[MINUTES]:[SECONDS].[MILLISECONDS] [SITUATION_DSCRP]<br>\n"},
    {10022, "<html><body>\n<!-- ProductVersion=[PRODUCT_VERSION] FileVersion=[FILE_VERSION] -->[YEAR]-[MONTH]-[DAY] [HOURS]:[MINUTES]:[SECONDS].[MILLISECONDS] The log template file is inaccessible, corrupt, or perhaps too large to format; will use default layout instead.<br>\n"},
    {10023, "</body><html>\n"},
    {10034, "<tr><td><font size=\"-1\">We're sorry, but this information was discarded to overcome a memory limitation.</font></td></tr>"},

    // Section keywords of a form.
    {11001, "BODY"},
    {11002, "HEAD"},
    {11003, "INJECT_SYS_INFO"},
    {11004, "TAIL"},

    // Form variable names. The log searches them by bisection: keep the order.
    {12001, "COMPANY_KNOW_BASE"},
    {12002, "COMPANY_NAME_LONG"},
    {12003, "COMPANY_NAME_SHORT"},
    {12004, "COMPANY_WEBSITE"},
    {12005, "DAY"},
    {12006, "ENTRY_COLOR"},
    {12007, "ENTRY_ID"},
    {12008, "FILE_VERSION"},
    {12009, "HOME_DIRECTORY"},
    {12010, "HOURS"},
    {12011, "LOGFILE_NAME"},
    {12012, "MILLISECONDS"},
    {12013, "MINUTES"},
    {12014, "MODULE_FILE_NAME"},
    {12015, "MODULE_NAME"},
    {12016, "MONTH"},
    {12017, "NAME_OF_DOMAIN"},
    {12018, "NAME_OF_HOST"},
    {12019, "NAME_OF_SESSION"},
    {12020, "NAME_OF_USER"},
    {12021, "PROCESS_ID"},
    {12022, "PRODUCT_NAME"},
    {12023, "PRODUCT_VERSION"},
    {12024, "SECONDS"},
    {12025, "SITUATION_DSCRP"},
    {12026, "SITUATION_ID"},
    {12027, "SUITE_NAME"},
    {12028, "SYS_INFO_ENV_APP"},
    {12029, "SYS_INFO_ENV_OP"},
    {12030, "SYS_INFO_VARS_ENV"},
    {12031, "YEAR"},

    // Error dialog texts, and the keys of a module's version data.
    {13001, "%ls Error"},
    {13002, "Internal Error %ls.%0*d"},
    {13003, "CompanyName"},
    {13004, "FileDescription"},
    {13005, "FileVersion"},
    {13006, "InternalName"},
    {13007, "LegalCopyright"},
    {13008, "LegalTrademarks"},
    {13009, "OriginalFilename"},
    {13010, "ProductName"},
    {13011, "ProductVersion"},

    // Words and number formats for reports.
    {14001, "Yes"},
    {14002, "No"},
    {14003, "***"},
    {14004, "~"},
    {14005, "="},
    {14006, " "},
    {14007, "..."},
    {14008, "0x%0*X"},
    {14009, "0x%04X"},
    {14010, "None"},
    {14011, "%ls bytes"},
    {14012, "%ls KB"},
    {14013, "%ls MB"},
    {14014, "%ls GB"},
    {14015, ""},
    {14016, "Unavailable"},
    {14017, "Unknown"},
    {14018, "Unknown (%lu)"},
    {14019, "Not loaded"},

    // Fragments of the HTML report.
    {14201, "<a href=\\\"file://%ls\\\">%ls</a>"},
    {14202, "<a href=\\\"file://\\\"></a>"},
    {14203, "<br>"},
    {14204, "%ls%ls%ls\r\n%ls%ls%ls\r\n"},
    {14205, "%ls%.*ls%ls\r\n%ls%ls%ls\r\n"},
    {14206, "%ls%ls%ls\r\n"},

    // Captions of the application environment.
    {15201, "Application Environment"},
    {15202, "%m/%d/%y"},

    // Captions and values of the operating environment.
    {15401, "Operating Environment"},
    {15402, " "},
    {15403, "WinSta0"},
    {15404, "USERDOMAIN"},
    {15405, "Maximum # of Desktops"},
    {15406, "Non-Interactive Heap Size"},
    {15407, "Per Desktop Heap Size"},
    {15408, "System Wide Max Heap Size"},
    {15409, "System Directory"},
    {15410, "TEMP Directory"},
    {15411, "Windows Directory"},
    {15412, "Available Space on Drive %ls"},
    {15413, "%ls Partition Type"},
    {15414, "Computer Name"},
    {15415, "Domain"},
    {15416, "Maximum Pagefile Size"},
    {15417, "Available Space in Pagefile"},
    {15418, "Available Physical Memory"},
    {15419, "Total Physical Memory"},
    {15420, "Platform"},
    {15421, "Platform Build Number"},
    {15422, "Platform Information"},
    {15423, "Platform Version"},
    {15424, "Number of Processors"},
    {15425, "Floating Point Hardware"},
    {15426, "Processor Information"},
    {15427, "MMX Support"},
    {15428, "OverDrive Processor"},
    {15429, "System Language ID"},
    {15430, "Unknown Consumer Windows"},
    {15431, "Windows"},
    {15432, "Windows XP"},
    {15433, "Windows Server 2003"},
    {15434, "Windows Server 2003 R2"},
    {15445, "Windows Vista"},
    {15446, "Windows Server 2008"},
    {15447, "Windows Server 2008 R2"},
    {15448, "Windows 7"},
    {15449, "Windows XP Professional x64 Edition"},
    {15450, "Linux"},

    // Caption of the environment variables.
    {15601, "Environment Variables"},

    // The entry that stands in for a situation that could not be described: number, code, its name,
    // what happened. Behind the IDs that a product's modules may count on to be free.
    {20001, "Situation %1!d! could not be described: %2!d!/%3, %4."},
};
// clang-format on

static_assert(std::is_sorted(std::begin(table), std::end(table),
                             [](const Row& left, const Row& right) { return left.id < right.id; }));

const Row* findRow(unsigned int id)
{
    const Row* row = std::lower_bound(std::begin(table), std::end(table), id,
                                      [](const Row& row, unsigned int id) { return row.id < id; });
    return row != std::end(table) && row->id == id ? row : nullptr;
}

} // namespace

int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    const Row* row = findRow(id);
    if (!row) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return 0;
    }
    if (!buffer || bufferMax < 1) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    try {
        const std::wstring text = QObject::tr(row->text).toStdWString();
        const std::size_t length = std::min(text.size(), static_cast<std::size_t>(bufferMax) - 1);
        text.copy(buffer, length);
        buffer[length] = L'\0';
        SetLastError(ERROR_SUCCESS);
        return static_cast<int>(length);
    } catch (...) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
}
