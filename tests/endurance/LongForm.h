// Short and long forms of a test, seeds that can be replayed, and the figures that tests print. Environment variables:
//   CORVANE_LONG=1    the long form
//   CORVANE_SEED=N    the random choices of the run that printed this number
// The library contains main(), which ends a program that hangs with a message.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace W::test {

bool isLong();

/// Chooses the number for the form that runs.
template <class Number>
Number shortOrLong(Number shortForm, Number longForm)
{
    return isLong() ? longForm : shortForm;
}

/// The program's seed: CORVANE_SEED, or a new one. Printed when the program starts.
std::uint64_t seed();

/// Prints a measured figure on a separate line: "figure: WHAT: VALUE".
void figure(const std::string& what, const std::string& value);
void figure(const std::string& what, double value);

/// Measurements of one thing.
class Distribution {
public:
    void add(double sample) { m_samples.push_back(sample); }
    /// The smallest sample that `percent` of all samples do not exceed; 0 without samples.
    double percentile(unsigned percent) const;

private:
    std::vector<double> m_samples;
};

/// Prints the 50th and the 95th percentile as two figures.
void figure(const std::string& what, const Distribution& distribution);

/// A small random number generator that gives the same numbers on every platform, so that a run can be replayed.
class Random {
public:
    explicit Random(std::uint64_t start) : m_state(start * 0x9E3779B97F4A7C15u + 1) {}

    std::uint64_t next();
    /// 0 to `limit` - 1.
    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(next() % limit); }
    /// True in `share` of a thousand cases.
    bool perMille(unsigned share) { return next() % 1000 < share; }

private:
    std::uint64_t m_state;
};

}  // namespace W::test
