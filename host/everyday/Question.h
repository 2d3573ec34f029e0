// Questions to a person at a terminal. They go to standard error, so that standard output has the result only.
#pragma once

#include <string>
#include <vector>

namespace W::host {

/// True if standard input and standard error are terminals.
bool canAsk();

/// The answer, without blanks around it; may be empty.
/// @throws std::runtime_error at the end of the input
std::string ask(const std::string& question);

/// True if the answer is yes.
bool confirm(const std::string& question);

/// Shows the choices with numbers from 1.
/// @param question  as in "Which one is yours?"
/// @return the index of the chosen one; asks again until the answer is one of the numbers
std::size_t choose(const std::string& question, const std::vector<std::string>& choices);

}  // namespace W::host
