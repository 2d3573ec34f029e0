// A client that changes its viewer's data, and knows the state that the service must have afterwards.
#pragma once

#include <array>
#include <atomic>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Session.h"
#include "WebClient.h"

namespace corvaned::test {

/// Something that a viewer can like, dislike or neither.
struct Target {
    const char* kind;       // "channel" or "content"
    const char* voteParam;  // of user/like
    std::string id;
};

/// A client with its own user. It makes changes and remembers which of them the service must have kept.
class WritingClient {
public:
    using Json = nlohmann::json;

    WritingClient(int number, const std::vector<Target>& targets)
        : m_device("device " + std::to_string(number)), m_random(static_cast<unsigned>(number)), m_targets(targets)
    {}

    /// The session is opened once; it outlasts the service's restarts.
    void connect(int port)
    {
        m_http = std::make_unique<http::test::WebClient>(port);
        if (!m_token.empty()) {
            return;
        }
        const auto reply = m_http->get(kPrefix + "auth/seedkey", {{"AppKey", "k"}, {"DUID", m_device}});
        ASSERT_TRUE(reply.has_value());
        const Json session = Json::parse(reply->body).at("rsp").at("session");
        m_token = sessionToken({session.at("id"), session.at("user").at("id"), session.at("seedkey"), 0}, "");
    }

    /// Changes one thing.
    /// @return whether the service answered; if not, the change may or may not have been made
    bool write()
    {
        const Target& target = m_targets[m_random() % m_targets.size()];
        const std::string favorite = fmt::format("type={}&id={}", target.kind, target.id);
        switch (m_random() % 4) {
            case 0:
                return change(m_favorites, target.id, "set",
                              m_http->put(kPrefix + "user/favorite", headers(), favorite));
            case 1:
                return change(m_favorites, target.id, "",
                              m_http->send("DELETE", kPrefix + "user/favorite?" + favorite, headers()));
            case 2: {
                const std::string vote = std::array{"like", "dislike", "none"}[m_random() % 3];
                return change(m_votes, target.id, vote,
                              m_http->put(kPrefix + "user/like", headers(),
                                          fmt::format("{}={}&type={}", target.voteParam, target.id, vote)));
            }
            default:
                return tune() != 0 || m_lost;
        }
    }

    /// Compares the service's state with the confirmed changes. For unconfirmed ones, takes over the service's state.
    void verify()
    {
        std::set<std::string> favorites;
        for (const auto& [kind, key] : {std::pair("channel", "source"), std::pair("content", "id")}) {
            const Json list = get(fmt::format("user/favorite/list?type={}", kind));
            for (const Json& entry : list.at(kind)) {
                favorites.insert(entry.at(key));
            }
        }
        std::map<std::string, std::string> votes;
        for (const Target& target : m_targets) {
            const Json count =
                get(fmt::format("user/like?{}={}", target.voteParam, target.id)).at("content").at("count");
            votes[target.id] = count.at("like_owned") == "yes"  ? "like"
                               : count.at("dis_owned") == "yes" ? "dislike"
                                                                : "none";
        }
        for (const Target& target : m_targets) {
            settle(m_favorites, target.id, favorites.count(target.id) > 0 ? "set" : "");
            settle(m_votes, target.id, votes[target.id]);
        }
        const int before = m_tunings;
        const int stored = tune() - 1;
        EXPECT_GE(stored, before) << m_device << ": tunings were lost";
        EXPECT_LE(stored, before + m_unconfirmedTunings) << m_device << ": more tunings than were sent";
        m_unconfirmedTunings = 0;
    }

    /// Whether 503 counts as no answer: the change may or may not have been made.
    bool toleratesUnavailable = false;

    Json get(const std::string& pathAndQuery)
    {
        const auto reply = m_http->get(kPrefix + pathAndQuery, headers());
        EXPECT_TRUE(reply.has_value() && reply->status == 200)
            << pathAndQuery << ": " << (reply ? reply->body : "no reply");
        return reply ? Json::parse(reply->body).at("rsp") : Json();
    }

    const std::map<std::string, std::string>& votes() const { return m_votes; }
    int confirmed() const { return m_confirmed; }

private:
    using Known = std::map<std::string, std::string>;

    using Result = std::optional<http::test::WebReply>;

    static constexpr const char* kUnsure = "?";
    inline static const std::string kPrefix = "/openapi/service/vorel/";

    http::test::Headers headers() const
    {
        return {{"Token", m_token}, {"Content-Type", "application/x-www-form-urlencoded"}};
    }

    bool confirm(const Result& reply)
    {
        m_lost = reply.has_value() && reply->status != 200 && !(toleratesUnavailable && reply->status == 503);
        EXPECT_FALSE(m_lost) << reply->body;
        const bool isConfirmed = reply.has_value() && reply->status == 200;
        m_confirmed += isConfirmed ? 1 : 0;
        return isConfirmed;
    }

    bool change(Known& known, const std::string& id, const std::string& state, const Result& reply)
    {
        const bool confirmed = confirm(reply);
        known[id] = confirmed ? state : kUnsure;
        return confirmed;
    }

    // The service's count of tunings, including this one; 0 if it did not answer.
    int tune()
    {
        const Result reply = m_http->put(kPrefix + "user/tune_history", headers(), "sourceid=1");
        if (!confirm(reply)) {
            ++m_unconfirmedTunings;
            return 0;
        }
        m_tunings = std::stoi(Json::parse(reply->body).at("rsp").at("seq").get<std::string>());
        return m_tunings;
    }

    void settle(Known& known, const std::string& id, const std::string& stored)
    {
        const auto found = known.find(id);
        if (found != known.end() && found->second != kUnsure) {
            EXPECT_EQ(stored, found->second) << m_device << ": what was confirmed of " << id << " is lost";
        }
        known[id] = stored;
    }

    const std::string m_device;
    std::mt19937 m_random;
    const std::vector<Target>& m_targets;
    std::string m_token;
    std::unique_ptr<http::test::WebClient> m_http;
    Known m_favorites;
    Known m_votes;
    int m_tunings = 0;  // confirmed
    int m_unconfirmedTunings = 0;
    std::atomic<int> m_confirmed{0};
    bool m_lost = false;
};

}  // namespace corvaned::test
