// Writes the tables of CLI11 in five forms.
#include "Descriptions.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <iostream>
#include <sstream>
#include <string_view>

#include "Commit.h"

namespace corvane {
namespace {

using Options = std::vector<const CLI::Option*>;

/// Named options, or positional arguments, that --help shows.
Options optionsOf(const CLI::App& app, bool positional)
{
    return app.get_options([positional](const CLI::Option* option) {
        return option->get_positional() == positional && !option->get_group().empty();
    });
}

std::vector<const CLI::App*> commandsOf(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App*) { return true; });
}

/// The program's options that the command accepts, too.
Options commonOptions(const CLI::App& app, const CLI::App& command)
{
    Options options = command.get_fallthrough() ? optionsOf(app, false) : Options();
    options.erase(std::remove_if(options.begin(), options.end(),
                                 [](const CLI::Option* option) {
                                     return option->check_lname("help") || option->check_lname("version");
                                 }),
                  options.end());
    return options;
}

const CLI::App& commandOf(const CLI::App& app, const std::string& name)
{
    for (const CLI::App* command : commandsOf(app)) {
        if (command->get_name() == name) {
            return *command;
        }
    }
    throw CLI::ValidationError("--describe", app.get_name() + " has no command " + name);
}

bool takesValue(const CLI::Option& option)
{
    return option.get_items_expected_max() > 0;
}

/// The placeholder of the value, without its limits.
std::string valueOf(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    return type.substr(0, type.find(':'));
}

/// Whether the value is the name of a file or folder. Options that say TEXT are judged by their descriptions.
bool takesFile(const CLI::Option& option)
{
    const std::string value = valueOf(option);
    const std::string& description = option.get_description();
    const auto hasAny = [](const std::string& text, std::initializer_list<const char*> words) {
        return std::any_of(words.begin(), words.end(),
                           [&](const char* word) { return text.find(word) != std::string::npos; });
    };
    return takesValue(option) && (hasAny(value, {"FILE", "DIR"}) ||
                                  (value == "TEXT" && hasAny(description, {"file", "folder", "PEM", "database"})));
}

/// Spellings with their dashes, the short one first.
std::vector<std::string> spellingsOf(const CLI::Option& option)
{
    std::vector<std::string> spellings;
    for (const std::string& name : option.get_snames()) {
        spellings.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        spellings.push_back("--" + name);
    }
    return spellings;
}

std::string replaced(std::string text, std::string_view from, std::string_view to)
{
    for (std::size_t place = text.find(from); place != std::string::npos; place = text.find(from, place + to.size())) {
        text.replace(place, from.size(), to);
    }
    return text;
}

// --- manual pages ----------------------------------------------------------------------------------------------------

std::string roff(const std::string& text)
{
    return replaced(replaced(text, "\\", "\\e"), "-", "\\-");
}

/// Breaks a paragraph into lines of at most 78 bytes. No line begins like a troff request.
std::string filled(const std::string& text)
{
    constexpr std::size_t kMostBytes = 78;
    std::istringstream words(roff(text));
    std::string lines;
    std::string line;
    for (std::string word; words >> word;) {
        if (!line.empty() && line.size() + 1 + word.size() > kMostBytes) {
            lines += line + "\n";
            line.clear();
        }
        if (line.empty() && (word.front() == '.' || word.front() == '\'')) {
            line = "\\&";
        } else if (!line.empty()) {
            line += ' ';
        }
        line += word;
    }
    return lines + line + "\n";
}

std::string sentence(std::string text)
{
    if (!text.empty()) {
        text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
        if (text.back() != '.') {
            text += '.';
        }
    }
    return text;
}

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char letter) { return std::toupper(letter); });
    return text;
}

std::string argumentName(const CLI::Option& argument)
{
    return upper(argument.get_name(true)) + (argument.get_items_expected_max() > 1 ? " ..." : "");
}

std::string descriptionOf(const CLI::Option& option)
{
    const std::string standard = option.get_default_str();
    return option.get_description() + (standard.empty() ? "" : " (default: " + standard + ")");
}

std::string entry(const CLI::Option& option)
{
    std::string text = ".TP\n";
    if (option.get_positional() && option.get_lnames().empty()) {
        text += "\\fI" + roff(argumentName(option)) + "\\fR\n";
    } else {
        const char* comma = "";
        for (const std::string& spelling : spellingsOf(option)) {
            text += comma + ("\\fB" + roff(spelling)) + "\\fR";
            comma = ", ";
        }
        text += takesValue(option) ? " \\fI" + roff(valueOf(option)) + "\\fR\n" : "\n";
    }
    return text + filled(sentence(descriptionOf(option)));
}

std::string settingsPart(const std::vector<DescribedSettings>& groups)
{
    std::string text;
    for (const DescribedSettings& group : groups) {
        text += ".SS \"" + roff(group.title) + "\"\n";
        for (const DescribedSetting& setting : group.settings) {
            text += ".TP\n\\fB" + roff(setting.name) + "\\fR = \\fI" +
                    (setting.value.empty() ? "true" : roff(setting.value)) + "\\fR\n" +
                    filled(sentence(setting.description));
        }
    }
    return text;
}

std::string section(const char* title, const Options& options)
{
    std::string text = options.empty() ? "" : std::string(".SH ") + title + "\n";
    for (const CLI::Option* option : options) {
        text += entry(*option);
    }
    return text;
}

/// @param command  null for the page of the program
std::string manualPage(const CLI::App& app, const Program& program, const CLI::App* command)
{
    const CLI::App& shown = command ? *command : app;
    const std::string name = app.get_name() + (command ? "-" + command->get_name() : "");
    std::string summary = shown.get_description();
    while (!summary.empty() && summary.back() == '.') {
        summary.pop_back();
    }
    std::ostringstream page;
    page << ".TH " << roff(upper(name)) << ' ' << program.section << ' ' << program.date << " \"" << app.get_name()
         << ' ' << program.version << "\"\n.SH NAME\n"
         << roff(name) << " \\-\n"
         << filled(summary) << ".SH SYNOPSIS\n.B " << app.get_name() << (command ? " " + roff(command->get_name()) : "")
         << "\n.RI [ OPTIONS ]\n";
    for (const CLI::Option* argument : optionsOf(shown, true)) {
        page << (argument->get_required() ? ".I " + roff(argumentName(*argument))
                                          : ".RI [ \"" + roff(argumentName(*argument)) + "\" ]")
             << '\n';
    }
    if (!command) {
        page << ".I COMMAND\n.RI [ \"OPTIONS and ARGUMENTS\" ]\n";
    }
    page << ".SH DESCRIPTION\n" << filled(sentence(shown.get_description()));
    if (!command) {
        page << ".SH COMMANDS\n";
        for (const CLI::App* each : commandsOf(app)) {
            page << ".TP\n\\fB" << roff(each->get_name()) << "\\fR\n" << filled(sentence(each->get_description()));
        }
    }
    page << section("ARGUMENTS", optionsOf(shown, true)) << section("OPTIONS", optionsOf(shown, false));
    if (command) {
        page << section("COMMON OPTIONS", commonOptions(app, *command));
    }
    page
        << ".SH EXIT STATUS\n.TP\n0\nSuccess.\n.TP\n1\nA failure; the message says what to do.\n.TP\n2\nWrong usage.\n";
    std::vector<std::string> others = program.seeAlso;
    if (command) {
        others.insert(others.begin(), app.get_name() + "(" + std::to_string(program.section) + ")");
    } else {
        for (const CLI::App* each : commandsOf(app)) {
            others.push_back(app.get_name() + "-" + each->get_name() + "(" + std::to_string(program.section) + ")");
        }
    }
    page << ".SH SEE ALSO\n";
    for (std::size_t place = 0; place < others.size(); ++place) {
        const std::size_t bracket = others[place].find('(');
        page << ".BR " << roff(others[place].substr(0, bracket)) << ' ' << others[place].substr(bracket)
             << (place + 1 < others.size() ? " ,\n" : "\n");
    }
    return page.str();
}

// --- completions -----------------------------------------------------------------------------------------------------

/// The command's options, then those of the program.
Options allOptions(const CLI::App& app, const CLI::App& command)
{
    Options options = optionsOf(command, false);
    const Options common = commonOptions(app, command);
    options.insert(options.end(), common.begin(), common.end());
    return options;
}

std::string spellings(const Options& options)
{
    std::string text;
    for (const CLI::Option* option : options) {
        for (const std::string& spelling : spellingsOf(*option)) {
            text += (text.empty() ? "" : " ") + spelling;
        }
    }
    return text;
}

std::string bash(const CLI::App& app)
{
    const std::string name = app.get_name();
    std::string words;
    std::string commands;
    std::string cases;
    for (const CLI::App* command : commandsOf(app)) {
        words += command->get_name() + " ";
        commands += (commands.empty() ? "" : " | ") + command->get_name();
        cases += "        " + command->get_name() + ") options='" + spellings(allOptions(app, *command)) + "' ;;\n";
    }
    const std::string common = spellings(optionsOf(app, false));
    // "-o default" completes file names if nothing else fits.
    return "# Completion of " + name + " for bash.\n_" + name + "()\n{\n    local command='' options word\n" +
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n        case $word in\n            " + commands +
           ") command=$word; break ;;\n        esac\n    done\n    case $command in\n" + cases +
           "        *) options='" + words + common + "' ;;\n    esac\n    COMPREPLY=()\n" +
           "    if [[ -z $command || ${COMP_WORDS[COMP_CWORD]} == -* ]]; then\n" +
           "        mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"${COMP_WORDS[COMP_CWORD]}\")\n    fi\n}\n" +
           "complete -o default -F _" + name + " " + name + "\n";
}

/// Escapes a string for single quotes and brackets of zsh.
std::string zshEscaped(const std::string& text)
{
    return replaced(replaced(replaced(replaced(text, "'", "'\\''"), "[", "\\["), "]", "\\]"), ":", "\\:");
}

std::string zshArguments(const Options& options, const Options& arguments, const std::string& indent)
{
    std::string text;
    for (const CLI::Option* option : options) {
        for (const std::string& spelling : spellingsOf(*option)) {
            text += " \\\n" + indent + "'" + (option->get_items_expected_max() > 1 ? "*" : "") + spelling + "[" +
                    zshEscaped(option->get_description()) + "]";
            if (takesValue(*option)) {
                text += ":" + zshEscaped(valueOf(*option)) + ":" + (takesFile(*option) ? "_files" : " ");
            }
            text += "'";
        }
    }
    for (const CLI::Option* argument : arguments) {
        text += " \\\n" + indent + "'" + (argument->get_items_expected_max() > 1 ? "*" : "") + ":" +
                zshEscaped(upper(argument->get_name(true))) + ":_files'";
    }
    return text;
}

std::string zsh(const CLI::App& app)
{
    const std::string name = app.get_name();
    std::string commands;
    std::string cases;
    for (const CLI::App* command : commandsOf(app)) {
        commands += "        '" + command->get_name() + ":" + zshEscaped(command->get_description()) + "'\n";
        cases += "                " + command->get_name() + ")\n                    _arguments" +
                 zshArguments(allOptions(app, *command), optionsOf(*command, true), "                        ") +
                 "\n                    ;;\n";
    }
    return "#compdef " + name + "\n_" + name + "() {\n    local state line context\n    local -a commands=(\n" +
           commands + "    )\n    _arguments -C" + zshArguments(optionsOf(app, false), {}, "        ") +
           " \\\n        '1:command:->command' \\\n        '*::argument:->argument'\n    case $state in\n" +
           "        command) _describe command commands ;;\n        argument)\n            case $words[1] in\n" +
           cases + "            esac\n            ;;\n    esac\n}\n_" + name + " \"$@\"\n";
}

std::string fishQuoted(const std::string& text)
{
    return "'" + replaced(replaced(text, "\\", "\\\\"), "'", "\\'") + "'";
}

std::string fishOptions(const Options& options, const std::string& start)
{
    std::string text;
    for (const CLI::Option* option : options) {
        text += start;
        for (const std::string& spelling : option->get_snames()) {
            text += " -s " + spelling;
        }
        for (const std::string& spelling : option->get_lnames()) {
            text += " -l " + spelling;
        }
        text += takesFile(*option) ? " -r -F" : takesValue(*option) ? " -x" : "";
        text += " -d " + fishQuoted(option->get_description()) + "\n";
    }
    return text;
}

std::string fish(const CLI::App& app)
{
    const std::string start = "complete -c " + app.get_name();
    std::string text = "# Completion of " + app.get_name() + " for fish.\n" +
                       fishOptions(optionsOf(app, false), start + " -n __fish_use_subcommand");
    for (const CLI::App* command : commandsOf(app)) {
        text += start + " -n __fish_use_subcommand -f -a " + command->get_name() + " -d " +
                fishQuoted(command->get_description()) + "\n" +
                fishOptions(allOptions(app, *command),
                            start + " -n '__fish_seen_subcommand_from " + command->get_name() + "'");
    }
    return text;
}

}  // namespace

DescribedSetting describedSetting(std::string name, const CLI::Option& option)
{
    return {std::move(name), takesValue(option) ? valueOf(option) : "", descriptionOf(option)};
}

std::string describe(const CLI::App& app, const Program& program, const std::string& form)
{
    const std::string page = "man/";
    if (form == "commands") {
        std::string names;
        for (const CLI::App* command : commandsOf(app)) {
            names += command->get_name() + "\n";
        }
        return names;
    }
    if (form == "bash") {
        return bash(app);
    }
    if (form == "zsh") {
        return zsh(app);
    }
    if (form == "fish") {
        return fish(app);
    }
    if (form == "man") {
        return manualPage(app, program, nullptr);
    }
    if (form == "settings" && program.settings) {
        return settingsPart(program.settings());
    }
    if (form.compare(0, page.size(), page) == 0) {
        return manualPage(app, program, &commandOf(app, form.substr(page.size())));
    }
    throw CLI::ValidationError("--describe",
                               "write man, man/COMMAND, bash, zsh, fish, commands or settings, not " + form);
}

std::string versionString(const std::string& name, const Program& program)
{
    const std::string hash = commit();
    return name + " " + program.version + (hash.empty() ? "" : " (commit " + hash + ")") +
           (program.libraries.empty() ? "" : "\n" + program.libraries);
}

void addDescriptions(CLI::App& app, const Program& program)
{
    app.set_version_flag("--version", versionString(app.get_name(), program), "Print version, commit and libraries");
    app.add_option_function<std::string>(
           "--describe",
           [&app, program](const std::string& form) {
               std::cout << describe(app, program, form) << std::flush;
               throw CLI::Success();
           },
           "Print a manual page or a completion")
        ->group("")
        ->trigger_on_parse();
}

}  // namespace corvane
