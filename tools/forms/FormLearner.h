// What the library makes of a form, and what it says of one that it does not take.
//
//     FormLearner learner;
//     if (!learner.learn(bytes)) ... // learner.mistake() tells why
//     learner.body().format ...
//
// Nothing is logged. What the library traces is left to whoever has the learner.
#pragma once

#include <zmu/monitor/ZarnData.h>

#include <QByteArray>

#include <span>
#include <string>
#include <vector>

namespace zmu_tools {

/// A data set that learns forms, and no more.
class FormLearner : public ZarnData {
  public:
    /// A section that is learned: a format, null for one that is not there, and what fills it.
    struct Section {
        const wchar_t* format = nullptr;
        std::span<const Zarn_FORM_VAR> variables;
    };

    FormLearner();

    /// Reports are not made, nor is what a form says of them looked at.
    void leaveOutReports() { m_hasReports = false; }

    /// Learns the form that these bytes are, whoever their file belongs to; false with a mistake.
    bool learn(const QByteArray& form);
    /// Learns the form that stands in for one that cannot be used.
    bool learnBuiltIn();
    /// Opens a form file, as the library would to learn it.
    bool open(std::wstring path);

    zmu::FormMistake mistake() const { return getFormMistake(); }
    const zmu::FormMistakes& warnings() const { return m_warnings; }

    Section head() const;
    Section body() const;
    Section tail() const;

    /// Names of the variables, in the order of Zarn_FORM_VAR.
    static const std::vector<std::string>& variableNames();
    /// What a form asks for in comments, in the order of FormExtra, which follows them.
    static const std::vector<std::string>& commentNames();

  protected:
    bool openFile(wchar_t** nameSlot, QTextStream** streamSlot, wchar_t* name,
                  int openMode) override;
    bool mustLearnLogFileFormInjectors(long start, zmu::ulong32 mask) override;

  private:
    const QByteArray* m_form = nullptr;
    bool m_hasReports = true;
    zmu::FormMistakes m_warnings;
};

} // namespace zmu_tools
