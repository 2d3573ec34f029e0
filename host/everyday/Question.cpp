#include "Question.h"

#include <charconv>
#include <cstdio>
#include <iostream>
#include <stdexcept>

#include <fmt/format.h>
#include <unistd.h>

#include "Terminal.h"

namespace W::host {

bool canAsk()
{
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
}

std::string ask(const std::string& question)
{
    fmt::print(stderr, "{} ", question);
    std::fflush(stderr);
    std::string answer;
    if (!std::getline(std::cin, answer)) {
        fmt::print(stderr, "\n");
        throw std::runtime_error("no answer was given; nothing was changed");
    }
    const std::size_t first = answer.find_first_not_of(" \t\r");
    return first == std::string::npos ? std::string()
                                      : answer.substr(first, answer.find_last_not_of(" \t\r") - first + 1);
}

bool confirm(const std::string& question)
{
    const std::string answer = ask(question + " [y/N]");
    return answer == "y" || answer == "Y" || answer == "yes";
}

std::size_t choose(const std::string& question, const std::vector<std::string>& choices)
{
    for (std::size_t i = 0; i < choices.size(); ++i) {
        fmt::print(stderr, "{:>3}  {}\n", i + 1, printable(choices[i]));
    }
    for (;;) {
        const std::string answer = ask(fmt::format("{} [1-{}]", question, choices.size()));
        std::size_t number = 0;
        const auto [end, error] = std::from_chars(answer.data(), answer.data() + answer.size(), number);
        if (error == std::errc() && end == answer.data() + answer.size() && number >= 1 && number <= choices.size()) {
            return number - 1;
        }
    }
}

}  // namespace W::host
