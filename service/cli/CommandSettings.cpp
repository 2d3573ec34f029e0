// Turns file and environment into arguments, which CLI11 checks like those of the command line.
#include "CommandSettings.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <iterator>
#include <string_view>
#include <system_error>

#include <fmt/format.h>
#include <toml++/toml.h>

#include "FileContent.h"
#include "OperatorError.h"

namespace corvaned {
namespace {

constexpr const char* kConfig = "--config";
constexpr const char* kConfigVariable = "CORVANED_CONFIG";
constexpr std::string_view kVariablePrefix = "CORVANED_";

std::string replaced(std::string text, char from, char to)
{
    std::replace(text.begin(), text.end(), from, to);
    return text;
}

bool isFlag(const CLI::Option& option)
{
    return option.get_items_expected_max() == 0;
}

bool isList(const CLI::Option& option)
{
    return option.get_items_expected_max() > 1;
}

// --help, --version and --config are for the command line only.
bool isSetting(const CLI::Option& option)
{
    return !option.check_name("--help") && !option.check_name(kConfig) && !option.get_group().empty();
}

std::vector<const CLI::Option*> settingsOf(const CLI::App& command)
{
    return command.get_options([](const CLI::Option* option) { return isSetting(*option); });
}

std::vector<const CLI::App*> commandsOf(const CLI::App& app)
{
    return app.get_subcommands([](const CLI::App*) { return true; });
}

const CLI::Option* find(const CLI::App& command, const std::string& name)
{
    for (const CLI::Option* option : settingsOf(command)) {
        if (settingName(*option) == name) {
            return option;
        }
    }
    return nullptr;
}

bool isKnown(const CLI::App& app, const std::string& name)
{
    const std::vector<const CLI::App*> commands = commandsOf(app);
    return std::any_of(commands.begin(), commands.end(),
                       [&name](const CLI::App* command) { return find(*command, name) != nullptr; });
}

std::string namesOf(const CLI::App& command)
{
    std::string names;
    for (const CLI::Option* option : settingsOf(command)) {
        names += (names.empty() ? "" : ", ") + settingName(*option);
    }
    return names;
}

std::string scalarString(const toml::node& node, const std::string& place, const std::string& name)
{
    if (const auto* const string = node.as_string()) {
        return string->get();
    }
    if (const auto* const integer = node.as_integer()) {
        return fmt::to_string(integer->get());
    }
    if (const auto* const number = node.as_floating_point()) {
        return fmt::to_string(number->get());
    }
    if (const auto* const boolean = node.as_boolean()) {
        return boolean->get() ? "true" : "false";
    }
    throw OperatorError(fmt::format("{}: {} must be a string, a number or a boolean", place, name));
}

std::vector<std::string> valuesOf(const toml::node& node, const CLI::Option& option, const std::string& place)
{
    const std::string name = settingName(option);
    if (!isList(option)) {
        return {scalarString(node, place, name)};
    }
    std::vector<std::string> values;
    if (const auto* const array = node.as_array()) {
        for (const toml::node& element : *array) {
            values.push_back(scalarString(element, place, name));
        }
    } else {
        values.push_back(scalarString(node, place, name));
    }
    return values;
}

std::string contentOf(const std::string& path)
{
    try {
        return contentOfFile(path);
    } catch (const std::system_error& error) {
        throw OperatorError(
            fmt::format("cannot read the configuration file {}: {}; name another one with --config, or run this as a "
                        "user that can read it",
                        path, error.code().message()));
    }
}

// One file's settings for one command. Settings in the command's table override those outside it. All other names are
// checked, too, because a misspelt limit would have no effect.
class FileReader {
public:
    FileReader(const CLI::App& app, const CLI::App& command, std::string name)
        : m_app(app), m_command(command), m_name(std::move(name))
    {}

    void read(const toml::table& file)
    {
        for (const auto& [key, node] : file) {
            const CLI::App* const owner = commandNamed(std::string(key.str()));
            const toml::table* const table = node.as_table();
            if (owner != nullptr && table != nullptr) {
                readTable(*table, owner);
            } else if (table != nullptr) {
                readTable(*table, nullptr);
            } else {
                add(std::string(key.str()), node, nullptr);
            }
        }
    }

    struct Entry {
        const CLI::Option* option;
        std::vector<std::string> values;
        std::string place;
        int line;
        bool isOfCommand;
    };
    const std::vector<Entry>& entries() const { return m_entries; }

private:
    const CLI::App* commandNamed(const std::string& name) const
    {
        for (const CLI::App* command : commandsOf(m_app)) {
            if (command->get_name() == name) {
                return command;
            }
        }
        return nullptr;
    }

    // A nested table only groups settings.
    void readTable(const toml::table& table, const CLI::App* owner)
    {
        for (const auto& [key, node] : table) {
            if (const toml::table* const group = node.as_table()) {
                readTable(*group, owner);
            } else {
                add(std::string(key.str()), node, owner);
            }
        }
    }

    void add(const std::string& key, const toml::node& node, const CLI::App* owner)
    {
        const std::string name = replaced(key, '-', '_');
        const std::string place = fmt::format("{}:{}", m_name, node.source().begin.line);
        if (owner != nullptr ? find(*owner, name) == nullptr : !isKnown(m_app, name)) {
            throw OperatorError(fmt::format("{}: unknown setting \"{}\"; {}", place, key,
                                            owner != nullptr
                                                ? fmt::format("[{}] may have {}", owner->get_name(), namesOf(*owner))
                                                : "see corvaned.toml(5), or corvaned COMMAND --help"));
        }
        const CLI::Option* const option = owner == nullptr || owner == &m_command ? find(m_command, name) : nullptr;
        if (option == nullptr) {
            return;  // of another command
        }
        const int line = static_cast<int>(node.source().begin.line);
        for (const Entry& entry : m_entries) {
            if (entry.option == option && entry.isOfCommand == (owner != nullptr)) {
                throw OperatorError(fmt::format("{}:{}: {} is set a second time, after line {}; remove one", m_name,
                                                std::max(line, entry.line), key, std::min(line, entry.line)));
            }
        }
        m_entries.push_back({option, valuesOf(node, *option, place), place, line, owner != nullptr});
    }

    const CLI::App& m_app;
    const CLI::App& m_command;
    const std::string m_name;
    std::vector<Entry> m_entries;
};

std::string variableOf(const char* const* environment, std::string_view name)
{
    for (; *environment != nullptr; ++environment) {
        const std::string_view variable = *environment;
        if (variable.substr(0, name.size()) == name && variable.substr(name.size(), 1) == "=") {
            return std::string(variable.substr(name.size() + 1));
        }
    }
    return "";
}

// Of options that exclude each other, such as secret and secret_file, the one of the later source counts.
template <typename Values>
void set(Values& values, const CLI::Option* option, typename Values::mapped_type value)
{
    for (const CLI::Option* excluded : option->get_excludes()) {
        const auto other = values.find(excluded);
        if (other != values.end() && other->second.source != value.source) {
            values.erase(other);
        }
    }
    values.insert_or_assign(option, std::move(value));
}

bool isTrue(const std::string& text, const std::string& place, const CLI::Option& option)
{
    try {
        return CLI::detail::to_flag_value(text) > 0;
    } catch (const std::exception&) {
        throw OperatorError(
            fmt::format("{}: {} is \"{}\"; it must be true or false", place, settingName(option), text));
    }
}

// The place of the option that a message of CLI11 names first; empty if it names none of these.
template <typename Values>
std::string placeOf(const std::string& message, const Values& values)
{
    const auto isPartOfName = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-'; };
    std::string place;
    std::size_t first = std::string::npos;
    for (const auto& [option, value] : values) {
        const std::string name = option->get_name();
        for (std::size_t at = message.find(name); at < first; at = message.find(name, at + 1)) {
            const std::size_t end = at + name.size();
            if ((end == message.size() || !isPartOfName(message[end])) && (at == 0 || !isPartOfName(message[at - 1]))) {
                first = at;
                place = value.place;
            }
        }
    }
    return place;
}

}  // namespace

std::string settingName(const CLI::Option& option)
{
    if (!option.get_lnames().empty()) {
        return replaced(option.get_lnames().front(), '-', '_');
    }
    return option.get_name(true) + (isList(option) ? "s" : "");
}

std::vector<corvane::DescribedSettings> describedSettings(const CLI::App& app)
{
    std::vector<corvane::DescribedSettings> groups;
    for (const CLI::App* command : commandsOf(app)) {
        corvane::DescribedSettings group{"[" + command->get_name() + "]", {}};
        for (const CLI::Option* option : settingsOf(*command)) {
            group.settings.push_back(corvane::describedSetting(settingName(*option), *option));
        }
        groups.push_back(std::move(group));
    }
    return groups;
}

void CommandSettings::addOption()
{
    for (CLI::App* command : m_app.get_subcommands([](CLI::App*) { return true; })) {
        command
            ->add_option(
                kConfig, m_file,
                fmt::format("Read options from this file (default: the file that {} names, or none)", kConfigVariable))
            ->type_name("FILE");
    }
}

void CommandSettings::readFile(const CLI::App& command, Values& values)
{
    FileReader reader(m_app, command, m_file);
    try {
        reader.read(toml::parse(contentOf(m_file), m_file));
    } catch (const toml::parse_error& error) {
        throw OperatorError(fmt::format("{}:{}: {}; write settings as listen = \"127.0.0.1:8900\"", m_file,
                                        error.source().begin.line, error.description()));
    }
    for (const bool ofCommand : {false, true}) {
        for (const FileReader::Entry& entry : reader.entries()) {
            if (entry.isOfCommand == ofCommand) {
                values.insert_or_assign(entry.option, SourcedValue{entry.values, SettingSource::File, entry.place});
            }
        }
    }
}

void CommandSettings::readEnvironment(const CLI::App& command, const char* const* environment, Values& values) const
{
    for (; *environment != nullptr; ++environment) {
        const std::string_view variable = *environment;
        const std::size_t equals = variable.find('=');
        if (variable.substr(0, kVariablePrefix.size()) != kVariablePrefix || equals == std::string_view::npos ||
            variable.substr(0, equals) == kConfigVariable) {
            continue;
        }
        const std::string place(variable.substr(0, equals));
        const std::string content(variable.substr(equals + 1));
        std::string name = place.substr(kVariablePrefix.size());
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
        const CLI::Option* const option = find(command, name);
        if (option == nullptr) {
            if (!isKnown(m_app, name)) {
                fmt::print(stderr, "corvaned: {}: unknown setting; see corvaned.toml(5)\n", place);
            }
            continue;
        }
        std::vector<std::string> words{content};
        if (isList(*option)) {
            words = CLI::detail::split(content, '\n');
            words.erase(std::remove(words.begin(), words.end(), ""), words.end());
        }
        set(values, option, SourcedValue{std::move(words), SettingSource::Environment, place});
    }
}

std::vector<std::string> CommandSettings::arguments(int argc, const char* const* argv, const CLI::App& command,
                                                    const Values& values) const
{
    std::vector<std::string> options;
    std::vector<std::string> lists;
    std::vector<std::string> positionals;
    for (const auto& [option, value] : values) {
        const std::string name = option->get_name();
        if (isFlag(*option)) {
            if (isTrue(value.values.front(), value.place, *option)) {
                options.push_back(name);
            }
            continue;
        }
        for (const std::string& word : value.values) {
            if (option->get_lnames().empty()) {
                positionals.push_back(word);
            } else if (word.empty()) {
                options.insert(options.end(), {name, word});
            } else {
                (isList(*option) ? lists : options).push_back(fmt::format("{}={}", name, word));
            }
        }
    }
    std::vector<std::string> made(argv + 1, argv + argc);
    // Lists come first, since they would take the arguments after them.
    const auto place = std::find(made.begin(), made.end(), command.get_name()) + 1;
    lists.insert(lists.end(), options.begin(), options.end());
    made.insert(place, lists.begin(), lists.end());
    if (!positionals.empty()) {
        made.emplace_back("--");
        made.insert(made.end(), positionals.begin(), positionals.end());
    }
    return made;
}

void CommandSettings::parse(int argc, const char* const* argv, const char* const* environment)
{
    // The first pass finds the command and its options; missing ones may be in the file.
    std::exception_ptr failed;
    try {
        m_app.parse(argc, argv);
    } catch (const CLI::Success&) {
        throw;
    } catch (const CLI::ParseError&) {
        failed = std::current_exception();
    }
    const std::vector<CLI::App*> chosen = m_app.get_subcommands();
    if (chosen.empty()) {
        std::rethrow_exception(failed);  // one command is required
    }
    const CLI::App& command = *chosen.front();

    Values values;
    if (command.get_option(kConfig)->count() == 0) {
        m_file = variableOf(environment, kConfigVariable);
    }
    if (!m_file.empty()) {
        readFile(command, values);
    }
    readEnvironment(command, environment, values);
    for (const CLI::Option* option : settingsOf(command)) {
        if (option->count() > 0) {
            set(values, option, SourcedValue{{}, SettingSource::CommandLine, ""});
        }
    }
    for (auto each = values.begin(); each != values.end();) {
        m_sources[each->first] = each->second.source;
        const bool isEmptyList = each->second.source != SettingSource::CommandLine && each->second.values.empty();
        if (isEmptyList && each->first->get_required()) {
            m_emptyList = fmt::format("{}: {}", each->second.place, settingName(*each->first));
        }
        each = each->second.source == SettingSource::CommandLine || isEmptyList ? values.erase(each) : std::next(each);
    }
    if (!m_emptyList.empty()) {
        return;
    }
    if (values.empty()) {
        if (failed) {
            std::rethrow_exception(failed);
        }
        return;
    }
    std::vector<std::string> together = arguments(argc, argv, command, values);
    std::reverse(together.begin(), together.end());
    try {
        m_app.parse(std::move(together));
    } catch (const CLI::ParseError& error) {
        const std::string place = placeOf(error.what(), values);
        if (place.empty()) {
            throw;
        }
        throw OperatorError(fmt::format("{}: {}", place, error.what()));
    }
}

SettingSource CommandSettings::source(const CLI::Option& option) const
{
    const auto found = m_sources.find(&option);
    return found == m_sources.end() ? SettingSource::Default : found->second;
}

}  // namespace corvaned
