// Settings: which source wins, unknown names, and the configuration file.
#include "Configuration.h"

#include <cstdlib>
#include <string>

#include <gmock/gmock.h>

#include "Runtime.h"
#include "Scratch.h"
#include "SettingsFile.h"

namespace W::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string option(Configuration& configuration, const std::string& key)
{
    return configuration.getCPOption(WContentProvider("Corvane", 14), key).toString();
}

/// Sets and restores the environment.
class ConfigurationSources : public testing::Test {
protected:
    ConfigurationSources()
    {
        ::setenv("XDG_CONFIG_HOME", m_scratch.file("xdg").c_str(), 1);
        ::unsetenv("CORVANE_COUNTRY");
        ::unsetenv("CORVANE_LANGAUGE");
    }
    ~ConfigurationSources() override
    {
        ::unsetenv("XDG_CONFIG_HOME");
        ::unsetenv("CORVANE_COUNTRY");
        ::unsetenv("CORVANE_LANGAUGE");
    }
    ScratchDirectory m_scratch;
    CommonOptions m_options;
};

TEST_F(ConfigurationSources, LaterSourcesWin)
{
    const auto country = [&](Defaults defaults) {
        Configuration configuration = loadConfiguration(m_options, defaults);
        return option(configuration, "vorel_country") + " from " + configuration.source("country");
    };
    EXPECT_EQ(country(Defaults::ForPeople), "US from default");
    EXPECT_EQ(country(Defaults::None), " from ");
    const std::string standard = m_scratch.write("xdg/corvane/corvane.toml", "\ncountry = \"DE\"\n");
    EXPECT_EQ(country(Defaults::ForPeople), "DE from " + standard + ":2");
    EXPECT_EQ(country(Defaults::None), " from ") << "scripts get only a file that they name";
    m_options.config = m_scratch.write("own.toml", "vorel_country = \"FR\"");
    EXPECT_EQ(country(Defaults::ForPeople), "FR from " + m_options.config + ":1");
    EXPECT_EQ(country(Defaults::None), "FR from " + m_options.config + ":1");
    ::setenv("CORVANE_COUNTRY", "KR", 1);
    EXPECT_EQ(country(Defaults::None), "KR from CORVANE_COUNTRY");
    m_options.settings = {"country=JP", "vorel_country=GB"};
    EXPECT_EQ(country(Defaults::None), "GB from --set");
    m_options.settings = {"country="};
    EXPECT_EQ(country(Defaults::ForPeople), " from --set") << "an empty value counts";
}

TEST_F(ConfigurationSources, UnknownKeysAreNamedWithTheirSource)
{
    m_options.config = m_scratch.write("own.toml", "coutry = \"FR\"\n");
    m_options.settings = {"vorel_heading=x=y"};
    ::setenv("CORVANE_LANGAUGE", "de", 1);
    testing::internal::CaptureStderr();
    Configuration configuration = loadConfiguration(m_options, Defaults::None);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_THAT(said, HasSubstr(m_options.config + ":1: unknown setting \"coutry\"; known settings are base_url, "));
    EXPECT_THAT(said, HasSubstr("CORVANE_LANGAUGE: unknown setting \"langauge\""));
    EXPECT_THAT(said, HasSubstr("--set: unknown setting \"heading\""));
    EXPECT_EQ(option(configuration, "vorel_heading"), "x=y");
}

TEST(Configuration, AbsentOptionsAreEmpty)
{
    Configuration configuration;
    configuration.set("vorel_country", "US", "test");
    EXPECT_EQ(option(configuration, "country"), "US");
    EXPECT_EQ(option(configuration, "vorel_language"), "");
    EXPECT_EQ(option(configuration, ""), "");
    EXPECT_THAT(configuration.complaints(), IsEmpty());
}

TEST(Configuration, NumbersOutOfRangeNameTheirSource)
{
    Configuration good;
    good.set("connect_timeout", "2.5", "test");
    good.set("payload_cap", "1000", "test");
    good.set("ca_file", "/x.pem", "test");
    good.set("stall_timeout", "", "test");
    EXPECT_EQ(httpLimits(good).connectTimeout, std::chrono::milliseconds(2500));
    EXPECT_EQ(httpLimits(good).stallTimeout, std::chrono::seconds(30));
    EXPECT_EQ(httpLimits(good).totalTimeout, std::chrono::seconds(60));
    EXPECT_EQ(httpLimits(good).payloadCap, 1000U);
    EXPECT_EQ(httpLimits(good).caFile, "/x.pem");
    EXPECT_EQ(httpLimits(Configuration()).payloadCap, std::size_t{64} << 20);
    for (const char* wrong : {"0", "-1", "x", "5s", " 5", "1e99", "nan"}) {
        Configuration configuration;
        configuration.set("connect_timeout", wrong, "here:7");
        try {
            static_cast<void>(httpLimits(configuration));
            ADD_FAILURE() << wrong;
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr(std::string("here:7: the setting \"connect_timeout\" is \"") + wrong));
        }
    }
}

TEST(Configuration, BaseUrlLosesTrailingSlashes)
{
    Configuration configuration;
    configuration.set("vorel_base_url", "http://127.0.0.1:8900//", "test");
    EXPECT_EQ(option(configuration, "vorel_base_url"), "http://127.0.0.1:8900");
    configuration.set("base_url", "http://h/path", "test");
    EXPECT_EQ(configuration.value("base_url"), "http://h/path");
    configuration.set("base_url", "", "test");
    EXPECT_EQ(configuration.value("base_url"), "");
}

TEST(SettingsFile, ReadsTomlValuesAsStrings)
{
    const struct {
        const char* contents;
        const char* value;
    } rows[] = {
        {"country = \"plain\"", "plain"},
        {"country=\"no blanks\"", "no blanks"},
        {"\t country = \"x\" \r\n", "x"},
        {"country = \"a # b ; c\"   # comment", "a # b ; c"},
        {"country = 'a # \\n \"' # comment", "a # \\n \""},
        {"country = \"\\\"\\\\\\t\\n\\u00e9\\U0001F4FA\"", "\"\\\t\n\xC3\xA9\xF0\x9F\x93\xBA"},
        {"country = \"\"\"a\nb\"\"\"", "a\nb"},
        {"country = \"\"", ""},
        {"country = 5", "5"},
        {"country = 0x10", "16"},
        {"country = 2.5", "2.5"},
        {"country = true", "true"},
        {"\"country\" = \"x\"", "x"},
        {"vorel_country = \"x\"", "x"},
        {"[heading] # comment\ncountry = \"x\"", "x"},
        {"a.b.country = \"x\"", "x"},
        {"# c\n\ncountry = \"x\"", "x"},
        {"\xEF\xBB\xBF"
         "country = \"x\"",
         "x"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.contents);
        Configuration configuration;
        readSettings(row.contents, "file", configuration);
        EXPECT_TRUE(configuration.isSet("country"));
        EXPECT_EQ(configuration.value("country"), row.value);
        EXPECT_THAT(configuration.complaints(), IsEmpty());
    }
}

TEST(SettingsFile, NamesFileAndLineOfErrors)
{
    const struct {
        const char* contents;
        const char* message;
    } rows[] = {
        {"\n\njunk", "file:3: "},
        {"= \"x\"", "file:1: "},
        {"\ncountry = \"x", "file:2: "},
        {"country = US", "write settings as country = \"US\""},
        {"country = \"x\" ; comment", "file:1: "},
        {"country = \"C:\\dir\"", "file:1: "},
        {"country = \"\\ud800\"", "file:1: "},
        {"[open", "file:1: "},
        {"country = \"\xFF\"", "file:1: "},
        {"country = \"1\"\n\ncountry = \"2\"", "file:3: "},
        {"country = \"1\"\n[x]\nvorel_country = \"2\"", "is set a second time, after file:"},
        {"\ncountry = [\"1\"]", "file:2: country must be a string, a number or a boolean"},
        {"country = 2026-11-21", "file:1: country must be a string, a number or a boolean"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.contents);
        Configuration configuration;
        try {
            readSettings(row.contents, "file", configuration);
            ADD_FAILURE() << "no error";
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr(row.message));
            EXPECT_THAT(error.what(), testing::StartsWith("file:"));
            EXPECT_THAT(error.what(), testing::Not(HasSubstr("\n")));
        }
        EXPECT_FALSE(configuration.isSet("country"));
    }
}

TEST(SettingsFile, NamesFilesThatCannotBeRead)
{
    for (const char* path : {"/no/such/file.toml", "/tmp"}) {
        Configuration configuration;
        try {
            readSettingsFile(path, configuration);
            ADD_FAILURE() << path;
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr(std::string("cannot read the configuration file ") + path));
        }
    }
}

TEST(Settings, EachIsDocumented)
{
    const std::string documentation = readFile(OPTIONS_DOCUMENTATION);
    for (const Setting& setting : allSettings()) {
        EXPECT_THAT(documentation, HasSubstr("| `" + std::string(setting.key) + "` |"));
    }
}

}  // namespace
}  // namespace W::host
