// Shared by the tests of malicious listings: a guide, imports into it and their outcomes. Read next:
// HostileListingTest.cpp (too large), DamagedListingTest.cpp (damaged, or with references to files).
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OperatorError.h"
#include "TestSupport.h"

namespace corvaned {

inline std::string programme(const std::string& inner, const std::string& start = "20261120180000")
{
    return "<programme start='" + start + "' channel='c'>" + inner + "</programme>";
}

inline const std::string kGood = programme("<title>Good</title>", "20261120190000");

/// The outcome of an import.
struct ImportOutcome {
    std::string refusal;  // "" if it was accepted
    std::vector<std::string> warnings;
    std::vector<std::string> titles;
    bool asBefore = false;
};

/// Imports into a database that holds the guide of one programme, "Old".
class HostileListing : public testing::Test {
protected:
    HostileListing() { renew(); }

    /// Restores the guide of "Old".
    void renew()
    {
        m_database = std::make_unique<test::TestStore>();
        test::importListing(m_database->guide, "<tv>" + programme("<title>Old</title>") + "</tv>");
        m_before = test::wholeGuide(m_database->guide);
    }

    ImportOutcome import(const std::function<std::unique_ptr<ByteSource>()>& open)
    {
        ImportOutcome outcome;
        ImportOptions options;
        options.warn = [&](const std::string& line) { outcome.warnings.push_back(line); };
        try {
            test::importListings(m_database->guide, {{"listing", open}}, options);
        } catch (const OperatorError& error) {
            outcome.refusal = error.what();
        }
        outcome.titles = test::rows(m_database->guide, "SELECT title FROM airing ORDER BY start");
        outcome.asBefore = test::wholeGuide(m_database->guide) == m_before;
        return outcome;
    }

    ImportOutcome importListing(const std::string& listing)
    {
        return import([&] { return openMemory(listing, "listing"); });
    }

    /// Expects a refusal with that message and an unchanged guide; or, if the message is empty, a guide of exactly
    /// these titles, and these warnings.
    void expect(const ImportOutcome& outcome, const std::string& refusal, const std::vector<std::string>& warnings = {},
                const std::vector<std::string>& titles = {"Good"})
    {
        EXPECT_THAT(outcome.refusal,
                    refusal.empty() ? testing::Matcher<std::string>("") : testing::StartsWith(refusal));
        EXPECT_THAT(outcome.warnings, testing::ElementsAreArray(warnings));
        EXPECT_EQ(outcome.asBefore, !refusal.empty());
        if (refusal.empty()) {
            EXPECT_THAT(outcome.titles, testing::ElementsAreArray(titles));
            renew();
        }
    }

    std::unique_ptr<test::TestStore> m_database;
    std::string m_before;
};

}  // namespace corvaned
