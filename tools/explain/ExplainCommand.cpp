#include "ExplainCommand.h"

#include <tools/Text.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <memory>
#include <string_view>

namespace zmu_tools {

namespace {

struct Row {
    unsigned int code;
    std::string_view name;
    std::string_view operations;
    std::string_view meaning;
    std::string_view cause = {};
    std::string_view advice = {};
};

constexpr Row dxRows[] = {
#define ZMU_DX(number, name, operations, ...) {number, #name, operations, __VA_ARGS__},
#include <zmu/monitor/DxCodes.def>
#undef ZMU_DX
};
constexpr Row zgwRows[] = {
#define ZMU_ZGW(number, name, operations, ...) {number, #name, operations, __VA_ARGS__},
#include <zmu/owner/ZgwCodes.def>
#undef ZMU_ZGW
};
constexpr Row statusRows[] = {
#define ZMU_STATUS(number, name, operations, ...) {number, #name, operations, __VA_ARGS__},
#include <zmu/notify/StatusCodes.def>
#undef ZMU_STATUS
};
constexpr Row wleRows[] = {
#define ZMU_WLE(number, name, meaning, advice) {number, name, "", meaning, "", advice},
#include <tools/explain/SystemErrors.def>
#undef ZMU_WLE
};

/// One of the tables.
struct Family {
    std::string_view prefix; ///< What stands before a number of it.
    std::string_view title;
    const Row* begin;
    const Row* end;

    const Row* find(unsigned int code) const
    {
        return std::find_if(begin, end, [code](const Row& row) { return row.code == code; });
    }
    const Row* find(std::string_view name) const
    {
        return std::find_if(begin, end, [name](const Row& row) { return row.name == name; });
    }
};
constexpr Family families[] = {
    {"DX", "of a monitor", std::begin(dxRows), std::end(dxRows)},
    {"ZGW", "of an owner", std::begin(zgwRows), std::end(zgwRows)},
    {"STATUS", "of the status dialog", std::begin(statusRows), std::end(statusRows)},
    {"WLE", "of the system", std::begin(wleRows), std::end(wleRows)},
};
constexpr const Family& dx = families[0];
constexpr const Family& zgw = families[1];
constexpr const Family& wle = families[3];

void print(const Family& family, const Row& row)
{
    const auto line = [](const char* what, std::string_view text) {
        if (!text.empty())
            std::printf("  %-12s %.*s\n", what, int(text.size()), text.data());
    };
    std::printf("%.*s%u %.*s, %.*s\n", int(family.prefix.size()), family.prefix.data(), row.code,
                int(row.name.size()), row.name.data(), int(family.title.size()),
                family.title.data());
    line("raised by", row.operations);
    line("meaning", row.meaning);
    line("usual cause", row.cause);
    line("what to do", row.advice);
}

/// What a text on the command line names: a number of a family, or the name of a code.
struct Question {
    const Family* family = nullptr; ///< Null for a number alone, or a name.
    unsigned int number = 0;
    bool isNumber = true;
    std::string name; ///< Of what is no number.

    bool isZero() const { return isNumber && number == 0; }
};

Question read(std::string text)
{
    Question question;
    text.erase(0, text.find_first_not_of("# "));
    std::string upper = text;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return char(std::toupper(c)); });
    std::string_view digits = upper;
    for (const Family& family : families) {
        if (upper.starts_with(family.prefix)) {
            question.family = &family;
            digits.remove_prefix(family.prefix.size());
            digits.remove_prefix(std::min(digits.find_first_not_of(" :"), digits.size()));
            break;
        }
    }
    const char* const end = digits.data() + digits.size();
    const auto [next, error] = std::from_chars(digits.data(), end, question.number);
    if (digits.empty() || error != std::errc() || next != end) {
        question.family = nullptr;
        question.isNumber = false;
        question.name = text;
    }
    return question;
}

bool sayUnknown(const std::string& text)
{
    std::vector<std::string> names;
    for (const Family& family : families) {
        for (const Row* row = family.begin; row != family.end; ++row)
            names.emplace_back(row->name);
    }
    const std::string nearest = nearestName(text, names);
    std::fprintf(stderr, "zmu explain: error: '%s' is no code%s\n", harmless(text).c_str(),
                 nearest.empty() ? "; codes look like 135, ZGW5/45, status 14 or WLE2"
                                 : (", " + nearest + " is one").c_str());
    return false;
}

/// Explains a number or a name; null, with a message, if it is unknown.
const Row* explain(const Question& question, const std::string& text)
{
    if (!question.isNumber) {
        const Row* first = nullptr;
        for (const Family& family : families) {
            if (const Row* const row = family.find(question.name); row != family.end) {
                print(family, *row);
                first = row;
            }
        }
        if (!first)
            sayUnknown(text);
        return first;
    }
    const Family& family = question.family ? *question.family : dx;
    const Row* const row = family.find(question.number);
    if (row == family.end) {
        if (question.number == 0)
            std::printf("%.*s0: nothing has failed\n", int(family.prefix.size()),
                        family.prefix.data());
        else
            sayUnknown(text);
        return nullptr;
    }
    print(family, *row);
    if (!question.family) {
        for (const Family& other : families) {
            if (const Row* const its = other.find(question.number);
                &other != &family && its != other.end)
                std::printf("  or else      %.*s%u %.*s, %.*s\n", int(other.prefix.size()),
                            other.prefix.data(), its->code, int(its->name.size()), its->name.data(),
                            int(other.title.size()), other.title.data());
        }
    }
    return row;
}

/// A text such as ZGW5/45 or 252/KindOutOfRange; false if a part of it is unknown.
bool explain(const std::string& text)
{
    const std::size_t slash = text.find('/');
    const std::string first = text.substr(0, slash);
    const Question question = read(first);
    const Row* const row = explain(question, first);
    if (slash == std::string::npos || (!row && !question.isZero()))
        return row || question.isZero();

    const std::string second = text.substr(slash + 1);
    Question companion = read(second);
    if (row && companion.name == row->name)
        return true; // as traces name a code
    // The companion of an owner's code is a DX code where the row says so, though traces write
    // it as an error of the system.
    const bool isOfDataSet =
        row && question.family == &zgw && row->meaning.find("DX code") != std::string_view::npos;
    if (!companion.family || (isOfDataSet && companion.family == &wle))
        companion.family = isOfDataSet || question.family == nullptr ? &dx : &wle;
    return explain(companion, second) || companion.isZero();
}

Exit explainAll(const std::vector<std::string>& texts)
{
    bool isGood = true;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const bool isPrefix =
            i + 1 < texts.size() &&
            std::any_of(std::begin(families), std::end(families), [&](const Family& family) {
                return read(texts[i] + "1").family == &family &&
                       texts[i].size() == family.prefix.size();
            });
        const std::string text = isPrefix ? texts[i] + texts[i + 1] : texts[i];
        i += isPrefix ? 1 : 0;
        isGood = explain(text) && isGood;
    }
    return isGood ? Exit::Good : Exit::Findings;
}

} // namespace

void addExplainCommand(CLI::App& app, Run& run)
{
    const auto codes = std::make_shared<std::vector<std::string>>();
    CLI::App* const command =
        app.add_subcommand("explain", "Tell what a code means, its usual cause and what to do.");
    command->footer("A number alone is a DX code, that of a monitor: 135. ZGW5/45 is an owner's "
                    "code with its companion, status 14 one of the status dialog, WLE2 an error "
                    "of the system. The name of a code is taken as well.");
    command->add_option("CODE", *codes, "What a trace or a program shows")->required();
    command->callback([codes, &run] { run = [codes] { return explainAll(*codes); }; });
}

} // namespace zmu_tools
