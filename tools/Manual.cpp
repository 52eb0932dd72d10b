#include "Manual.h"

#include <tools/Command.h>

#include <zmu/Version.h>

#include <sstream>

namespace zmu_tools {

namespace {

/// Breaks lines that are longer than `width`, where there are blanks.
std::string wrapped(const std::string& text, std::size_t width)
{
    std::string output;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::size_t column = 0;
        for (std::string word; words >> word; column += word.size()) {
            if (column > 0 && column + 1 + word.size() > width) {
                output += '\n';
                column = 0;
            } else if (column > 0) {
                output += ' ';
                ++column;
            }
            output += word;
        }
        output += '\n';
    }
    if (!output.empty())
        output.pop_back();
    return output;
}

/// Text as roff shows it.
std::string roff(const std::string& text)
{
    std::string output;
    bool isLineStart = true;
    for (const char c : text) {
        if (isLineStart && (c == '.' || c == '\''))
            output += "\\&";
        if (c == '\\')
            output += "\\e";
        else if (c == '-')
            output += "\\-";
        else
            output += c;
        isLineStart = c == '\n';
    }
    return output;
}

/// Paragraphs: each line of `text` is one.
std::string paragraphs(const std::string& text)
{
    std::string output;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        output += ".PP\n" + roff(line) + '\n';
    return output;
}

bool isHidden(const CLI::Option& option)
{
    return option.get_group().empty();
}

std::vector<const CLI::Option*> visibleOptions(const CLI::App& app)
{
    return app.get_options([](const CLI::Option* option) { return !isHidden(*option); });
}

/// "zmu check [OPTIONS] MODULE"
std::string usage(const CLI::App& app, const std::string& path)
{
    std::string text = path + " [OPTIONS]";
    for (const CLI::Option* option : visibleOptions(app)) {
        if (!option->get_positional())
            continue;
        std::string name = option->get_name(true);
        if (option->get_items_expected_max() > 1)
            name += " ...";
        text += option->get_required() ? ' ' + name : " [" + name + ']';
    }
    return text;
}

std::string optionEntry(const CLI::Option& option)
{
    std::string name =
        option.get_positional() ? option.get_name(true) : option.get_name(false, true);
    for (std::size_t at = 0; (at = name.find(',', at)) != std::string::npos; at += 2)
        name.replace(at, 1, ", ");
    std::string entry = ".TP\n\\fB" + roff(name) + "\\fR";
    if (!option.get_positional() && option.get_type_size() > 0) {
        const std::string type = option.get_type_name(); // with what it is held to behind a colon
        entry += " \\fI" + roff(type.substr(0, type.find(':'))) + "\\fR";
    }
    entry += '\n' + roff(option.get_description());
    if (!option.get_default_str().empty())
        entry += " (" + roff(option.get_default_str()) + " unless told)";
    return entry + '\n';
}

void addManual(std::string& page, const CLI::App& app, const std::string& path)
{
    if (visibleCommands(app).empty()) {
        page += ".SS " + roff(path) + "\n.PP\n.B " + roff(usage(app, path)) + '\n';
        page += paragraphs(app.get_description());
        for (const CLI::Option* option : visibleOptions(app))
            page += optionEntry(*option);
        page += paragraphs(app.get_footer());
    }
    for (const CLI::App* command : visibleCommands(app))
        addManual(page, *command, path + ' ' + command->get_name());
}

void addCompletion(std::string& script, const CLI::App& app, const std::string& path)
{
    script += "    \"" + path + "\")\n        commands=\"";
    for (const CLI::App* command : visibleCommands(app))
        script += command->get_name() + ' ';
    script += "\"\n        options=\"";
    for (const CLI::Option* option : visibleOptions(app)) {
        for (const std::string& name : option->get_lnames())
            script += "--" + name + ' ';
    }
    script += "\"\n        ;;\n";
    for (const CLI::App* command : visibleCommands(app))
        addCompletion(script, *command,
                      path.empty() ? command->get_name() : path + ' ' + command->get_name());
}

} // namespace

std::vector<const CLI::App*> visibleCommands(const CLI::App& app)
{
    return app.get_subcommands(
        [](const CLI::App* command) { return !command->get_group().empty(); });
}

std::string HelpFormatter::make_description(const CLI::App* app) const
{
    return wrapped(app->get_description(), 80) + '\n';
}

std::string HelpFormatter::make_footer(const CLI::App* app) const
{
    const std::string footer = app->get_footer();
    return footer.empty() ? footer : '\n' + wrapped(footer, 80) + '\n';
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const
{
    return wrapped(option->get_description(), 80 - get_column_width());
}

std::string manPage(const CLI::App& app)
{
    std::string page = ".\\\" Made from the definition of the command line.\n"
                       ".TH ZMU 1 \"\" \"zmu " ZMU_VERSION_STRING "\" \"User Commands\"\n"
                       ".SH NAME\nzmu \\- tools for catalogues, log forms and logs of zmu\n"
                       ".SH SYNOPSIS\n.B zmu\n\\fICOMMAND\\fR [\\fIOPTIONS\\fR] ...\n"
                       ".br\n.B zmu \\-\\-help\n|\n.B \\-\\-version\n"
                       ".SH DESCRIPTION\n" +
                       roff(app.get_description()) + "\n.SH COMMANDS\n";
    addManual(page, app, "zmu");
    page += ".SH EXIT STATUS\n";
    for (const ExitMeaning& each : exitMeanings())
        page += ".TP\n.B " + std::to_string(static_cast<int>(each.exit)) + '\n' +
                roff(each.meaning) + '\n';
    return page;
}

std::string bashCompletion(const CLI::App& app)
{
    std::string script =
        R"(# Completion of zmu for bash. Made from the definition of the command line.
_zmu_words() {
    case $1 in
)";
    addCompletion(script, app, "");
    script += R"(    *)
        return 1
        ;;
    esac
}

_zmu() {
    local commands options path= word i
    local current=${COMP_WORDS[COMP_CWORD]}
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ $word != -* ]] && _zmu_words "${path:+$path }$word"; then
            path=${path:+$path }$word
        fi
    done
    _zmu_words "$path"
    if [[ $current == -* ]]; then
        commands=$options
    fi
    COMPREPLY=()
    while IFS= read -r word; do
        COMPREPLY+=("$word")
    done < <(compgen -W "$commands" -- "$current")
}

complete -o default -F _zmu zmu
)";
    return script;
}

} // namespace zmu_tools
