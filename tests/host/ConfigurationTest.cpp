// Settings: what wins, what is complained about, and what a file may hold.
#include "Configuration.h"
#include "Runtime.h"
#include "Scratch.h"
#include "SettingsFile.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>

namespace W::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string option(Configuration& configuration, const std::string& key)
{
    return configuration.getCPOption(WContentProvider("Corvane", 14), key).toString();
}

/// An environment of the test's own.
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

TEST_F(ConfigurationSources, LaterOnesWin)
{
    const auto country = [&](Defaults defaults) {
        Configuration configuration;
        fill(configuration, m_options, defaults);
        return option(configuration, "vorel_country") + " from " + configuration.source("country");
    };
    EXPECT_EQ(country(Defaults::ForPeople), "US from default");
    EXPECT_EQ(country(Defaults::None), " from ");
    const std::string standard = m_scratch.write("xdg/corvane/corvane.toml", "\ncountry = \"DE\"\n");
    EXPECT_EQ(country(Defaults::ForPeople), "DE from " + standard + ":2");
    EXPECT_EQ(country(Defaults::None), " from ") << "scripts get no file that they did not name";
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
    Configuration configuration;
    testing::internal::CaptureStderr();
    fill(configuration, m_options, Defaults::None);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_THAT(said, HasSubstr(m_options.config + ":1: nothing reads the setting \"coutry\"; known are: base_url"));
    EXPECT_THAT(said, HasSubstr("CORVANE_LANGAUGE: nothing reads the setting \"langauge\""));
    EXPECT_THAT(said, HasSubstr("--set: nothing reads the setting \"heading\""));
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

TEST(Configuration, NumbersAreCheckedWhereTheyAreNeeded)
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

TEST(SettingsFile, ValuesAreTexts)
{
    const struct {
        const char* line;
        const char* value;
    } rows[] = {
        {"key = \"plain\"", "plain"},
        {"key=\"no blanks\"", "no blanks"},
        {"\t key = \"x\" \r", "x"},
        {"key = \"a # b ; c\"   # comment", "a # b ; c"},
        {"key = 'a # \\n \"'; comment", "a # \\n \""},
        {"key = \"\\\"\\\\\\t\\n\\u00e9\\U0001F4FA\"", "\"\\\t\n\xC3\xA9\xF0\x9F\x93\xBA"},
        {"key = US", "US"},
        {"key = two words # comment", "two words"},
        {"key = two words ; comment", "two words"},
        {"key = http://h/a#b;c", "http://h/a#b;c"},
        {"key =", ""},
        {"key = # comment", ""},
        {"key = \"\"", ""},
        {"key = 5", "5"},
        {"key = a=b", "a=b"},
        {"[heading] # comment\nkey = \"x\"", "x"},
        {"# c\n; c\n\nkey = \"x\"", "x"},
        {"\xEF\xBB\xBFkey = \"x\"", "x"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        Configuration configuration;
        readSettings(row.line, "file", configuration);
        EXPECT_TRUE(configuration.isSet("key"));
        EXPECT_EQ(configuration.text("key"), row.value);
    }
}

TEST(SettingsFile, WhatIsWrongHasItsLine)
{
    const struct {
        const char* text;
        const char* message;
    } rows[] = {
        {"\n\njunk", "file:3: a line has to read key = \"value\""},
        {"= x", "file:1: a line has to read key = \"value\""},
        {"a = \"x", "file:1: the closing quote is missing"},
        {"a = 'x", "file:1: the closing quote is missing"},
        {"a = \"x\" y", "file:1: there is text behind the closing quote"},
        {"a = \"C:\\dir\"", "file:1: \\d is no escape; for a backslash write \\\\ or use single quotes"},
        {"a = \"\\u12\"", "file:1: \\u wants the 4 hexadecimal digits of a character"},
        {"a = \"\\ud800\"", "file:1: \\u wants the 4 hexadecimal digits of a character"},
        {"a = \"\\U00110000\"", "file:1: \\u wants the 8 hexadecimal digits of a character"},
        {"[open", "file:1: a heading has to end with ]"},
        {"a = 1\na = 2", "file:2: a is set twice; leave one"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        Configuration configuration;
        try {
            readSettings(row.text, "file", configuration);
            ADD_FAILURE() << "no complaint";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), row.message);
        }
    }
}

TEST(SettingsFile, AFileThatCannotBeReadIsNamed)
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

TEST(Settings, EachStandsInTheDocumentation)
{
    const std::string documentation = readFile(OPTIONS_DOCUMENTATION);
    for (const Setting& setting : allSettings())
        EXPECT_THAT(documentation, HasSubstr("| `" + std::string(setting.key) + "` |"));
}

}  // namespace
}  // namespace W::host
