// Damages replies: values of the wrong type; parts missing, repeated or moved; single bytes changed.
#pragma once

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "ParseCases.h"

namespace W::test {

/// Damages replies; the same seed gives the same damage.
class Mutator {
public:
    explicit Mutator(unsigned int seed) : m_random(seed) {}

    std::string operator()(const std::string& reply)
    {
        std::string text = chance(2) ? mutateTree(reply) : reply;
        for (int count = chance(3) ? 0 : below(3); count > 0; --count) {
            mutateString(text);
        }
        return text;
    }

    int below(std::size_t limit)
    {
        return static_cast<int>(std::uniform_int_distribution<std::size_t>(0, limit - 1)(m_random));
    }

private:
    bool chance(std::size_t oneIn) { return below(oneIn) == 0; }

    static void collect(Tree& tree, std::vector<Tree*>& values)
    {
        for (Tree& child : tree) {
            values.push_back(&child);
            if (child.is_structured()) {
                collect(child, values);
            }
        }
    }

    Tree wrong()
    {
        const Tree all[] = {nullptr,
                            true,
                            -1,
                            2147483648u,
                            1e300,
                            "",
                            "99999999999999999999",
                            "2026-13-41T25:61:61Z",
                            Tree::object(),
                            Tree::array(),
                            Tree{{"url", ""}},
                            Tree::array({nullptr, "x", Tree::array()})};
        return all[below(std::size(all))];
    }

    std::string mutateTree(const std::string& reply)
    {
        Tree root = Tree::parse(reply);
        for (int count = 1 + below(2); count > 0; --count) {
            std::vector<Tree*> values;
            collect(root, values);
            if (values.empty()) {
                break;
            }
            Tree& target = *values[static_cast<std::size_t>(below(values.size()))];
            Tree other = *values[static_cast<std::size_t>(below(values.size()))];
            if (chance(3)) {
                target = std::move(other);
            } else {
                target = wrong();
            }
        }
        return root.dump();
    }

    void mutateString(std::string& text)
    {
        static const char kStructure[] = "{}[]:,\"\\/*\0 1e-";
        const auto at = [&] { return static_cast<std::size_t>(below(text.size() + 1)); };
        const std::size_t from = at();
        const std::size_t length = static_cast<std::size_t>(below(1 + std::min<std::size_t>(text.size() - from, 40)));
        switch (below(6)) {
            case 0:
                text.resize(from);
                break;
            case 1:
                text.erase(from, length);
                break;
            case 2:
                text.insert(at(), text.substr(from, length));
                break;
            case 3:
                text.insert(from, 1, kStructure[below(sizeof kStructure - 1)]);
                break;
            case 4:
                text.insert(from, 1, static_cast<char>(below(256)));
                break;
            default:
                if (from < text.size()) {
                    text[from] = static_cast<char>(text[from] ^ (1 << below(8)));
                }
        }
    }

    std::mt19937 m_random;
};

}  // namespace W::test
