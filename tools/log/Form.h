// Forms as the reader of logs wants them: learned by the library, turned round into patterns.
#pragma once

#include "Pattern.h"

#include <QString>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zmu_tools::logs {

/// The sections of a form, of which head and tail may be unknown.
struct Sections {
    std::string name; ///< For messages.
    std::vector<Piece> head;
    std::vector<Piece> body;
    std::vector<Piece> tail;
};

/// The form in a file, by the library's own rules but for whom the file belongs to. Throws
/// std::runtime_error, which says what is wrong with it.
Sections learnForm(const QString& path);
/// The form that stands in for one that cannot be used.
Sections builtInForm();

/// What a page says of its own entries, in two elements of its head:
///
///     <meta name="zmu-entry" content="...">     the form's body, attribute-escaped, with {NAME}
///                                               for [NAME]
///     <meta name="zmu-tail" content="...">      likewise the tail; may be left out
///
/// and in the line before the first entry, <!--entries-->, without which a page that has no entries
/// is shown as it is.
///
/// Nothing if it says nothing, or a body without the description. What stands behind <!--entries-->
/// or within the page's <body> says nothing; neither must what may stand in an entry, so that
/// `page` ends before the first entry that another form finds.
std::optional<Sections> statedForm(TextView page);

/// Name of a variable, or of one that a form writes as a comment.
const std::string& nameOf(Zarn_FORM_VAR variable);

/// A form in the way in which one log has it.
struct Form {
    Form(const Sections& sections, LineEnds lineEnds);

    std::string name;
    bool hasHead;
    bool hasTail;      ///< One that can be told by its beginning.
    bool hasTailLines; ///< One that can be told as the last lines: it ends in a text of its own.
    Pattern head;
    Pattern body;
    Pattern tail;
};

/// The forms that a log may have been written with.
class Forms {
  public:
    /// Only the form in this file; empty for those that are found with each log.
    explicit Forms(const QString& path);

    /// Those of the folder `Templates` beside the log, then the built-in one.
    const std::vector<Sections>& formsFor(const QString& logPath);
    /// Tells, once and on standard error, which of them cannot be used.
    void tellUnusable(const QString& logPath);
    /// Whether a log may say itself how it is to be read.
    bool mayBeStated() const { return !m_isGiven; }

  private:
    struct Found {
        std::vector<Sections> forms;
        std::vector<std::string> flaws; ///< Of those that cannot be used, until they are told.
    };
    Found& foundFor(const QString& logPath);

    bool m_isGiven;
    std::map<QString, Found> m_byFolder;
};

} // namespace zmu_tools::logs
