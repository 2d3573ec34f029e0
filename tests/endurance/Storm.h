// Host threads that issue requests, cancel, replace the session and destroy objects at random, with an account of every
// request. The seed determines what each thread does, but not how the threads interleave.
//
// The threads keep the rules for hosts (docs/contract.md): an object is not destroyed while one of its operations runs
// on another thread, except from callbacks.
#pragma once

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "Calls.h"
#include "Configuration.h"
#include "LongForm.h"

namespace W::test {

struct StormObject;

class Storm {
public:
    struct Settings {
        std::uint64_t seed = 0;
        unsigned threads = 8;
        std::size_t requests = 1000;    ///< calls of operations by the threads; callbacks add some
        unsigned destroysPerMille = 1;  ///< in a thousand steps of a thread
        unsigned callbackDestroysPerMille = 0;
        std::size_t longestPause = 0;         ///< microseconds between two steps of a thread, at most
        bool tellsResponses = false;          ///< the executor sets Ticket::responded
        std::string baseUrl = "http://base";  ///< of every request
    };

    /// One call of an operation and its callback.
    struct Ticket : Counter {
        Storm* storm = nullptr;
        StormObject* life = nullptr;
        unsigned int key = 0;
        std::uint64_t choice = 0;            ///< what its callback does
        std::atomic<bool> responded{false};  ///< its completion may have begun
        std::atomic<bool> mustBe600{false};  ///< it was cancelled before
        bool accepted = false;
    };

    /// What happened to all requests.
    struct Book {
        std::size_t accepted = 0;
        std::size_t refused = 0;
        std::size_t calledBack = 0;
        std::size_t cancelledFirst = 0;
        std::size_t dropped = 0;            ///< with their object
        std::size_t destroyed = 0;          ///< objects
        std::size_t destroyedInFlight = 0;  ///< of these, objects with requests outstanding
    };

    explicit Storm(const Settings& settings);
    ~Storm();
    Storm(const Storm&) = delete;
    Storm& operator=(const Storm&) = delete;

    /// Runs all threads to their end, waits until the last object has no request outstanding, and destroys it.
    void run();

    /// Fails the test for every request that was not accounted for exactly once.
    Book settle();

    /// How often sync() was called in this program; it does nothing here.
    static long syncs();

    /// The ticket whose operation this thread is in; for planners.
    static Ticket* issuing();

private:
    void work(unsigned number);
    void step(Random& random, std::deque<Ticket>& own);
    void issue(Ticket& ticket, StormObject& life, Random& random);
    void cancelOne(Random& random, StormObject& life, std::deque<Ticket>& own);
    void replaceSession(WVorelOAI& object, Random& random) const;
    void begin();
    void destroyCurrent();
    bool destroyWhenIdle();
    void inCallback(Ticket& ticket);

    const Settings m_settings;
    host::Configuration m_configuration;
    std::shared_mutex m_use;  ///< shared for using the object, exclusive for destroying it
    std::atomic<int> m_destroyers{0};
    std::deque<StormObject> m_lives;  ///< REQUIRES: m_use held exclusively
    StormObject* m_current = nullptr;
    std::deque<std::deque<Ticket>> m_tickets;  ///< by thread
    std::mutex m_innerLock;
    std::deque<Ticket> m_inner;  ///< of callbacks
    Book m_book;
};

/// One object between its creation and its destruction.
struct StormObject {
    WVorelOAI* object = nullptr;
    std::atomic<bool> gone{false};
    bool drained = false;  ///< had no request outstanding when it was destroyed
};

}  // namespace W::test
