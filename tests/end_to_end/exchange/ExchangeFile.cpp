#include "ExchangeFile.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace W::test {

namespace {

struct Section {
    std::string name;
    std::string argument;
    int line;
    std::vector<std::string> lines;
};

class Reader {
public:
    Reader(std::filesystem::path path, const std::map<std::string, std::string>& words)
        : m_path(std::move(path)), m_words(words)
    {}

    ExchangeFile read()
    {
        readSections();
        for (const Section& section : m_sections) {
            take(section);
        }
        for (const ExchangeStep& step : m_file.steps) {
            if (step.result.empty()) {
                fail(0, "a call has no result");
            }
        }
        if (m_file.steps.empty()) {
            fail(0, "nothing is called");
        }
        return std::move(m_file);
    }

private:
    [[noreturn]] void fail(int line, const std::string& complaint) const
    {
        throw std::runtime_error(m_path.string() + ":" + std::to_string(line) + ": " + complaint);
    }

    std::string replaced(std::string line) const
    {
        for (const auto& [word, text] : m_words) {
            const std::string braced = "{" + word + "}";
            for (std::size_t at = 0; (at = line.find(braced, at)) != std::string::npos; at += text.size()) {
                line.replace(at, braced.size(), text);
            }
        }
        return line;
    }

    void readSections()
    {
        std::ifstream in(m_path);
        if (!in) {
            fail(0, "cannot be read");
        }
        int number = 0;
        for (std::string line; std::getline(in, line);) {
            ++number;
            if (line.rfind("== ", 0) == 0) {
                std::istringstream words(line.substr(3));
                Section section{{}, {}, number, {}};
                words >> section.name;
                std::getline(words >> std::ws, section.argument);
                section.argument = replaced(section.argument);
                m_sections.push_back(std::move(section));
            } else if (!m_sections.empty()) {
                addLine(line, number);
            }
        }
    }

    void addLine(const std::string& line, int number)
    {
        if (line.rfind('@', 0) != 0) {
            m_sections.back().lines.push_back(replaced(line));
            return;
        }
        std::ifstream in(m_path.parent_path() / (line.substr(1) + ".lines"));
        if (!in) {
            fail(number, line.substr(1) + ".lines cannot be read");
        }
        for (std::string included; std::getline(in, included);) {
            m_sections.back().lines.push_back(replaced(included));
        }
    }

    void take(const Section& section)
    {
        if (section.name == "options") {
            return takeOptions(section);
        }
        if (section.name == "given") {
            m_file.given.emplace_back(section.argument, text(section));
            return;
        }
        if (section.name == "call") {
            return takeCall(section);
        }
        if (m_file.steps.empty()) {
            fail(section.line, "\"" + section.name + "\" without a call before it");
        }
        ExchangeStep& step = m_file.steps.back();
        if (section.name == "request") {
            step.request = requestBytes(section);
        } else if (section.name == "reply") {
            takeReply(section, step.reply);
        } else if (section.name == "result") {
            step.result = text(section);
        } else if (section.name == "file") {
            step.files.emplace_back(section.argument, text(section));
        } else {
            fail(section.line, "there is no section \"" + section.name + "\"");
        }
    }

    void takeOptions(const Section& section)
    {
        for (const std::string& line : section.lines) {
            if (line == "session") {
                m_file.session = true;
            } else if (line.rfind("clock ", 0) == 0) {
                m_file.clock = line.substr(6);
            } else if (line.find('=') != std::string::npos) {
                m_file.options.push_back(line);
            } else if (!line.empty()) {
                fail(section.line, "\"" + line + "\" is not an option");
            }
        }
    }

    void takeCall(const Section& section)
    {
        const std::string call = text(section);
        const std::size_t blank = call.find_first_of(" \n");
        if (blank == std::string::npos) {
            fail(section.line, "a call is a name, a blank and a JSON array");
        }
        m_file.steps.emplace_back();
        m_file.steps.back().operation = call.substr(0, blank);
        m_file.steps.back().parameters = call.substr(blank + 1);
    }

    void takeReply(const Section& section, ExchangeReply& reply) const
    {
        std::istringstream words(section.argument);
        std::string kind;
        if (!(words >> reply.code)) {
            fail(section.line, "a reply has a code");
        }
        if (words >> kind && kind != "gzip") {
            fail(section.line, "a reply is plain or \"gzip\"");
        }
        reply.gzip = kind == "gzip";
        reply.body = text(section);
    }

    /// The bytes that the lines describe.
    std::string requestBytes(const Section& section) const
    {
        std::string bytes;
        bool inBody = false;
        for (const std::string& line : section.lines) {
            const bool first = &line == &section.lines.front();
            if (inBody) {
                bytes += (bytes.back() == '\n' && bytes[bytes.size() - 2] == '\r' ? "" : "\n") + line;
            } else {
                bytes += line + (first ? " HTTP/1.1\r\n" : "\r\n");
            }
            inBody = inBody || line.empty();
        }
        return inBody ? bytes : bytes + "\r\n";
    }

    static std::string text(const Section& section)
    {
        std::string joined;
        for (const std::string& line : section.lines) {
            joined += (&line == &section.lines.front() ? "" : "\n") + line;
        }
        return joined;
    }

    std::filesystem::path m_path;
    const std::map<std::string, std::string>& m_words;
    std::vector<Section> m_sections;
    ExchangeFile m_file;
};

}  // namespace

ExchangeFile readExchange(const std::filesystem::path& path, const std::map<std::string, std::string>& words)
{
    return Reader(path, words).read();
}

}  // namespace W::test
