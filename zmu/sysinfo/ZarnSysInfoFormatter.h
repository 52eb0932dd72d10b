// Formatters: they walk a source of system information and write its pairs as text.
//
//     QTextStream out(&file);
//     ZarnSysInfoEnvOp machine;
//     ZarnSysInfoFormatterHTML formatter(&out);
//     wchar_t before[] = L"<tr><td>", between[] = L"</td><td>", behind[] = L"</td></tr>\n";
//     formatter.addCaptionPrefix(before);
//     formatter.addCaptionSuffix(between);
//     formatter.addDatumSuffix(behind);
//     formatter.setSysInfo(&machine);
//     formatter.reportSystemInformation();
#pragma once

#include <zmu/foundation/Export.h>

#include <string_view>

class QTextStream;
class ZarnSysInfo;

/// What every formatter has: a source, and four lists of texts that go before and behind captions
/// and data. Each list is gone round by itself, an affix for each pair. One thread at a time.
class ZMU_API ZarnSysInfoFormatter {
  public:
    ZarnSysInfoFormatter() = default;
    virtual ~ZarnSysInfoFormatter();
    ZarnSysInfoFormatter(const ZarnSysInfoFormatter&) = delete;
    ZarnSysInfoFormatter& operator=(const ZarnSysInfoFormatter&) = delete;

    /// Writes all pairs of the source, from its first.
    virtual bool reportSystemInformation() = 0;
    /// `stream` must outlive the reports.
    virtual void setOutputDestination(QTextStream& stream) = 0;

    /// Add a copy of `text` to the end of a list. Return the list's new count, or -1 with the list
    /// as it was: for a null `text` or without memory.
    int addCaptionPrefix(const wchar_t* text);
    int addCaptionSuffix(const wchar_t* text);
    int addDatumPrefix(const wchar_t* text);
    int addDatumSuffix(const wchar_t* text);

    /// The source of the next reports, which stays the caller's and may be null. Returns the one
    /// before.
    ZarnSysInfo* setSysInfo(ZarnSysInfo* source);

  protected:
    // The next affix of a list, copied to the `size` elements of `buffer` if it has room there with
    // its terminator. They return the elements that it takes, or -1 for a list without any.

    int getNextCaptionPrefix(wchar_t* buffer, int size);
    int getNextCaptionSuffix(wchar_t* buffer, int size);
    int getNextDatumPrefix(wchar_t* buffer, int size);
    int getNextDatumSuffix(wchar_t* buffer, int size);
    /// Begins every list anew.
    void resetCurrentAffixes();

    /// Why the last affix was not added.
    enum Error : int {
        ErrorNoList = -3, ///< No memory for the list,
        ErrorNoCopy = -4, ///< or for the text.
        ErrorNoText = -5,
    };
    int m_error = 0; ///< 0 for none.
    ZarnSysInfo* m_sysInfo = nullptr;

  private:
    int addAffix(int& count, wchar_t**& list, const wchar_t* text);
    static int copyString(wchar_t* destination, int size, const wchar_t* text);
    static const wchar_t* getNextAffix(int count, int& current, wchar_t** list);

    int m_captionPrefixCount = 0;
    wchar_t** m_captionPrefixes = nullptr;
    int m_captionSuffixCount = 0;
    wchar_t** m_captionSuffixes = nullptr;
    int m_currentCaptionPrefix = 0;
    int m_currentCaptionSuffix = 0;
    int m_currentDatumPrefix = 0;
    int m_currentDatumSuffix = 0;
    int m_datumPrefixCount = 0;
    wchar_t** m_datumPrefixes = nullptr;
    int m_datumSuffixCount = 0;
    wchar_t** m_datumSuffixes = nullptr;
};

/// Writes HTML. A datum that names an existing file or directory becomes a link, unless its path
/// names another host, and a list of paths gets a line for each. A list is divided by what divides
/// one on this platform, where the first or any two of its elements are full paths; any other by
/// semicolons.
///
/// Captions and data are written as they stand, whatever markup is in them, unless escapeMarkup()
/// says otherwise; affixes always are. Then characters that mean something to HTML are written as
/// entities, so that they show, and a report cannot be changed by what is reported.
class ZMU_API ZarnSysInfoFormatterHTML : public ZarnSysInfoFormatter {
  public:
    /// `stream` must outlive the reports; it may be null, and set later.
    explicit ZarnSysInfoFormatterHTML(QTextStream* stream);

    /// Each pair in turn: caption prefix, caption, caption suffix, datum prefix, datum, datum
    /// suffix. False without a stream or a source, and when memory runs out; true else, also when
    /// the walk ended early because an affix has more than 4095 characters. Whether the stream took
    /// it all, it says itself.
    bool reportSystemInformation() override;
    bool reportSystemInformation(QTextStream& stream);
    void setOutputDestination(QTextStream& stream) override;

    /// In the short form a run of captions that begin with one word is written as that word, once,
    /// before the data. Off at first. Returns the value before.
    bool useShortForm(bool shortForm);
    /// Off at first. Returns the value before.
    bool escapeMarkup(bool escape);

  private:
    static constexpr int textCapacity = 4096;
    struct Texts;

    void reportPairs(Texts& texts);
    bool fetchAffixes(Texts& texts);
    void writePair(Texts& texts);
    void writeDatum(wchar_t* datum);
    void writeDatumEscaped(std::wstring_view datum);
    void writeElementEscaped(std::wstring_view element);
    void writeEscaped(std::wstring_view text);
    void write(std::wstring_view text);
    int hyperlinkPath(wchar_t* text, int size);
    bool addLineBreaks(wchar_t* text, int size, const wchar_t* separator);

    QTextStream* m_stream;
    wchar_t m_lineBreakText[textCapacity] = {};
    wchar_t m_pathText[textCapacity] = {};
    bool m_shortForm = false;
    bool m_escapesMarkup = false;
};
