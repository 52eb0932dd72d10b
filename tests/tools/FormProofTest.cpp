// The judgement on forms: each mistake by its place and its code.
#include <tools/forms/FormProof.h>

#include <gtest/gtest.h>

#include "Growth.h"
#include "System.h"
#include "Traces.h"

using namespace zmu_tools;

namespace {

/// "line:column code", of each finding one line.
std::string brief(const FormVerdict& verdict)
{
    std::string text;
    for (const FormFinding& finding : verdict.findings)
        text += std::to_string(finding.line) + ':' + std::to_string(finding.column) + ' ' +
                (finding.isWarning ? "warning" : std::to_string(finding.code)) + '\n';
    return text;
}

const QByteArray body = "^BODY\n[SITUATION_DSCRP]\n";
const QByteArray tail = "^TAIL\nt\n";

} // namespace

TEST(FormProof, NamesEachMistakeWithItsPlace)
{
    const struct {
        QByteArray form;
        std::string findings;
        const char* words; // which the first finding has
    } rows[] = {
        {"^HEAD\nh\n" + body + tail, "", ""},
        // Marks
        {"", "1:0 101\n", "^HEAD, ^BODY and ^TAIL"},
        {"notes only\n", "1:0 101\n", "^HEAD, ^BODY and ^TAIL"},
        {"^HAED\nh\n" + body + tail, "1:0 107\n", "^HEAD would be one"},
        {"^HEAD \nh\n" + body + tail, "1:0 107\n", "'^HEAD ' is no marker, ^HEAD would"},
        {"^HEAD\nh\n^BODDY\n[SITUATION_DSCRP]\n" + tail, "3:0 107\n", "^BODY would be one"},
        {"^HEAD\nh\n^note\n" + body + tail, "3:0 107\n", "may not begin with ^"},
        {"^HEAD\nh\n^HEAD\n" + body + tail, "3:0 107\n", "^HEAD is there already"},
        {"^HEAD\nh\n" + body + body + tail, "5:0 107\n", "^BODY is there already"},
        {body + tail, "1:0 108\n", "^HEAD is missing"},
        {"^HEAD\nh\n" + tail, "3:0 111\n", "^BODY is missing"},
        {tail, "1:0 111\n", "^HEAD is missing; ^BODY is missing"},
        {"^HEAD\nh\n" + body, "4:0 197\n", "^TAIL is missing"},
        {"^HEAD\nh\n" + tail + body, "3:0 111\n", "stands before"},
        {body + "^HEAD\nh\n" + tail, "1:0 108\n", "stands before"},
        {"^HEAD\n" + body + tail, "1:0 164\n", "head has no text"},
        {"^HEAD\nh\n^BODY\n" + tail, "3:0 99\n", "body has no text"},
        {"^HEAD\nh\n" + body + "^TAIL\n", "5:0 197\n", "tail has no text"},
        {"^HEAD\nh\n^BODY\ntext\n" + tail, "3:0 146\n", "SITUATION_DSCRP"},
        {"^HEAD\nh\n^INJECT_SYS_INFO\n0\n" + body + tail, "3:0 110\n", "stands after"},
        // Variables
        {"^HEAD\nh [PRODUKT_NAME]\n" + body + tail, "2:3 188\n", "[PRODUCT_NAME] would be one"},
        {"^HEAD\nh [day]\n" + body + tail, "2:3 188\n", "[DAY] would be one"},
        {"^HEAD\n[TIME_ZONE]\n" + body + tail, "2:1 188\n", "<!--TIME_ZONE--> is written"},
        {"^HEAD\nlist[0] = 1\n" + body + tail, "2:5 188\n", "for variables alone"},
        {"^HEAD\n\n []\n" + body + tail, "3:2 187\n", "without a name"},
        {"^HEAD\n<!--TIME_ZONE--> [DAI] [NO]\n" + body + tail, "2:18 188\n2:24 188\n", "[DAY]"},
        {"^HEAD\nh\n^BODY\n[SITUATION_DSCR]\n[SITUATION-ID]\n" + tail, "4:1 188\n5:1 188\n",
         "[SITUATION_DSCRP]"},
        {"^HEAD\n<!--TIMEZONE-->\n" + body + tail, "2:1 warning\n", "<!--TIME_ZONE--> would be"},
        // Brackets
        {"^HEAD\n[DAY\n[MONTH]\n" + body + tail, "2:1 204\n", "inside a variable's name"},
        {"^HEAD\nDAY]\n[[DAY]\n" + body + tail, "2:4 203\n3:1 204\n", "without an open one"},
        {"^HEAD\nh\n" + body + "^TAIL\n[DAY] [DAY\n", "6:7 warning\n", "not closed"},
        // Percent signs
        {"^HEAD\nh { width: 50%; }\n100%\n" + body + tail, "2:14 warning\n3:4 warning\n",
         "two make one"},
        {"^HEAD\n[DAY]%% %7 [YEAR] %1!s!\n" + body + tail, "2:9 178\n2:19 178\n", "no variable"},
        {"^HEAD\nh\n" + body + "^TAIL\n<!--NEXT_LOG--> 100%", "6:20 178\n", "at the very end"},
        // Lengths and letters
        {"^HEAD\nh\n" + body + "^TAIL\n" + QByteArray(1024, 't'), "5:0 178\n", "the tail is too"},
        {"^HEAD\nh\n" + body + QByteArray(1024, 'b') + '\n' + tail, "3:0 178\n", "no entry"},
        {"^HEAD\nh\n" + body + QByteArray(900, 'b') + '\n' + tail, "3:0 warning\n", "leaves"},
        {"^HEAD\na\xc3\xa9\n" + body + tail, "2:2 warning\n", "&eacute;"},
        // Reports
        {"^INJECT_SYS_INFO\nnone\n^HEAD\n[SYS_INFO_ENV_OP]\n" + body + tail, "2:0 71\n", "digit"},
        {"^INJECT_SYS_INFO\n1\nSYS_INFO_ENV_OP 1\n^HEAD\n[SYS_INFO_ENV_OP]\n" + body + tail,
         "3:0 92\n", "four fields"},
        // Several, which do not hide each other, nor move
        {"^HEAD\n[DAI] [MONHT] [X\n" + QByteArray("^BODY\r\n[SITUATION_DSCRP] 5 %7\r\n") +
             "^TAIL\n[YEER]] 5%!\n^TAIL\n",
         "2:1 188\n2:7 188\n2:15 warning\n4:21 178\n6:1 188\n6:7 203\n7:0 107\n", "[DAY]"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.form.toStdString());
        zmu_test::Traces traces;
        const FormVerdict verdict = proveForm(row.form);
        EXPECT_EQ(traces.take(), "");
        EXPECT_EQ(brief(verdict), row.findings);
        if (!verdict.findings.empty()) {
            EXPECT_NE(verdict.findings[0].what.find(row.words), std::string::npos)
                << verdict.findings[0].what;
        }
        EXPECT_EQ(verdict.isUsed, QByteArray::fromStdString(row.findings).count("warning") ==
                                      int(verdict.findings.size()));
    }
}

TEST(FormProof, OutlivesHostileForms)
{
    // The system's formatter there writes a line feed as two.
    const unsigned room = zmu_test::isWindows() ? 1021 : 1022;
    EXPECT_EQ(proveForm("^HEAD\nh\n" + body + tail).descriptionRoom, room);
    QByteArray many = "^HEAD\n";
    for (int i = 0; i < 1000; ++i)
        many += "[NO" + QByteArray::number(i) + "]\n";
    for (const QByteArray& form :
         {many + body + tail, QByteArray(100000, '['), QByteArray(3000, '^'), QByteArray(10, '\0'),
          "^HEAD\n" + QByteArray(5000, '%') + "\n" + body + tail,
          "^HEAD\n[" + QByteArray(3000, 'X') + "]\n" + body + tail,
          QByteArray(
              "^HEAD\nh\n^BODY\n[\n]\n[SITUATION_DSCRP\n] %99!*.*s!\n^TAIL\n%1!999999999d![DAY]"),
          QByteArray("\xff\xfe^\0H\0E\0", 8)})
        EXPECT_LE(proveForm(form).findings.size(), 400U);
}

TEST(FormProof, TakesTimeLinearInTheForm)
{
    expectLinear(
        [](int lines) {
            const QByteArray form =
                "^HEAD\n" + QByteArray("<p>\n").repeated(lines) + "\xc3\xa9[DAI]\n";
            const FormVerdict verdict = proveForm(form + body + tail);
            EXPECT_EQ(verdict.findings.size(), 3U); // it is too large as well
        },
        40'000);

    // So many mistakes in so large a form are not all looked for, and that is told.
    QByteArray unknown;
    for (int i = 0; i < 300; ++i)
        unknown += "[NO" + QByteArray::number(i) + "]\n" + QByteArray(20'000, 'x') + "\n";
    const FormVerdict verdict = proveForm("^HEAD\n" + unknown + body + tail);
    EXPECT_FALSE(verdict.isUsed);
    EXPECT_LT(verdict.findings.size(), 20U);
    EXPECT_NE(verdict.findings.front().what.find("more mistakes"), std::string::npos);
}
