#include "Storm.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "Eventually.h"
#include "VorelService.h"

extern "C" {
W::WPlugin* createPlugin();
void destroyPlugin(W::WPlugin* plugin);

// The plug-in calls sync() after a cancelled download. The real one takes longer than a million requests.
void sync() noexcept;
}

namespace {

std::atomic<long> theSyncs{0};

}  // namespace

void sync() noexcept
{
    ++theSyncs;
}

namespace W::test {

namespace {

thread_local Storm::Ticket* theIssuing = nullptr;

}  // namespace

long Storm::syncs()
{
    return theSyncs;
}

Storm::Ticket* Storm::issuing()
{
    return theIssuing;
}

Storm::Storm(const Settings& settings) : m_settings(settings)
{
    for (const auto& [key, value] : allOptions()) {
        m_configuration.set(key, key == "vorel_base_url" ? settings.baseUrl : value, "test");
    }
    host::installConfigManager(&m_configuration);
    begin();
}

Storm::~Storm()
{
    host::installConfigManager(nullptr);
}

void Storm::begin()
{
    StormObject& life = m_lives.emplace_back();
    life.object = static_cast<WVorelOAI*>(createPlugin());
    openSession(*life.object);
    setClock(*life.object);
    m_current = &life;
}

void Storm::destroyCurrent()
{
    StormObject& life = *m_current;
    m_book.destroyedInFlight += life.object->service()->requestCount() > 0 ? 1 : 0;
    ++m_book.destroyed;
    destroyPlugin(life.object);
    life.gone = true;
}

void Storm::run()
{
    m_tickets.resize(m_settings.threads);
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < m_settings.threads; ++number) {
        threads.emplace_back([this, number] { work(number); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    ASSERT_TRUE(support::eventually([this] { return destroyWhenIdle(); }))
        << "requests are still outstanding after a minute";
}

bool Storm::destroyWhenIdle()
{
    // A callback may still destroy the object and create another.
    const std::unique_lock alone(m_use);
    WVorelOAI& object = *m_current->object;
    if (object.service()->requestCount() > 0 || object.service()->argsCount() > 0 || object.commandCount() > 0) {
        return false;
    }
    m_current->drained = true;
    destroyCurrent();
    return true;
}

void Storm::work(unsigned number)
{
    Random random(m_settings.seed + number);
    std::deque<Ticket>& own = m_tickets[number];
    while (own.size() < m_settings.requests / m_settings.threads) {
        step(random, own);
        if (m_settings.longestPause > 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(random.below(m_settings.longestPause)));
        }
    }
}

void Storm::step(Random& random, std::deque<Ticket>& own)
{
    if (random.perMille(m_settings.destroysPerMille)) {
        ++m_destroyers;
        const std::unique_lock alone(m_use);
        --m_destroyers;
        destroyCurrent();
        begin();
        return;
    }
    // Threads that want to destroy the object go first.
    while (m_destroyers > 0) {
        std::this_thread::yield();
    }
    const std::shared_lock with(m_use);
    StormObject& life = *m_current;
    const std::size_t what = random.below(100);
    if (what < 75) {
        issue(own.emplace_back(), life, random);
    } else if (what < 95) {
        cancelOne(random, life, own);
    } else {
        replaceSession(*life.object, random);
    }
}

void Storm::issue(Ticket& ticket, StormObject& life, Random& random)
{
    ticket.storm = this;
    ticket.life = &life;
    ticket.key = vorel::kFirstKey + static_cast<unsigned int>(random.below(vorel::kOperationCount));
    ticket.choice = random.next();
    ticket.responded = !m_settings.tellsResponses;
    ticket.then = [](Counter& self) { static_cast<Ticket&>(self).storm->inCallback(static_cast<Ticket&>(self)); };
    Ticket* const outer = std::exchange(theIssuing, &ticket);
    const int returned = callAt(m_settings.baseUrl, ticket.key, *life.object, ticket);
    theIssuing = outer;
    ticket.accepted = returned == 0;
    EXPECT_EQ(ticket.out.writes, 1);
    EXPECT_EQ(ticket.out.getRequestID(), ticket.key);
    EXPECT_EQ(ticket.out.getWStatus(), returned);
    EXPECT_EQ(ticket.out.getReqRefernce() == 0, returned != 0);
    EXPECT_LE(returned, 0);
}

void Storm::cancelOne(Random& random, StormObject& life, std::deque<Ticket>& own)
{
    if (own.empty()) {
        return;
    }
    Ticket& ticket = own[own.size() - 1 - random.below(std::min<std::size_t>(own.size(), 40))];
    // The reference may be of an earlier object and equal that of another request now.
    const unsigned long long reference = ticket.out.getReqRefernce();
    const int answer = life.object->cancel(life.object->getContentProvider(), reference);
    if (answer == status::kCancelled && ticket.life == &life && !ticket.responded) {
        ticket.mustBe600 = true;
    }
    EXPECT_TRUE(answer == status::kCancelled || answer == status::kAlreadyCancelled || answer == status::kNotFound ||
                answer == status::kNotCancellable || answer == status::kNoSession)
        << answer;
}

void Storm::replaceSession(WVorelOAI& object, Random& random) const
{
    WVLSession session;
    // One in four is not a session.
    if (!random.perMille(250)) {
        session.setSessionID("session-" + std::to_string(random.next()));
        session.setUserID("user");
        session.setSeedKey("a seed key that does not fit into a string of its own " + std::to_string(random.next()));
    }
    object.setAuthSeedkey(session);
    if (random.perMille(500)) {
        openSession(object);
    }
}

void Storm::inCallback(Ticket& ticket)
{
    StormObject& life = *ticket.life;
    EXPECT_FALSE(life.gone) << "a callback began after destroyPlugin had returned";
    Random random(ticket.choice);
    if (random.perMille(m_settings.callbackDestroysPerMille)) {
        const std::unique_lock alone(m_use, std::try_to_lock);
        if (alone) {
            // No other thread destroys it now, and it is still this callback's object, because destruction waits for
            // callbacks.
            EXPECT_EQ(&life, m_current);
            destroyCurrent();
            begin();
            return;
        }
    }
    const std::size_t what = random.below(100);
    if (what < 8) {
        Ticket* inner = nullptr;
        {
            const std::lock_guard<std::mutex> hold(m_innerLock);
            inner = &m_inner.emplace_back();
        }
        issue(*inner, life, random);
    } else if (what < 12) {
        life.object->cancel(life.object->getContentProvider(), ticket.reference);
    } else if (what < 14) {
        replaceSession(*life.object, random);
    } else if (what < 16) {
        std::this_thread::sleep_for(std::chrono::microseconds(random.below(200)));
    } else if (what < 18) {
        throw 42;
    }
}

Storm::Book Storm::settle()
{
    const auto account = [this](Ticket& ticket) {
        const int calls = ticket.calls;
        (ticket.accepted ? m_book.accepted : m_book.refused) += 1;
        m_book.calledBack += static_cast<std::size_t>(calls);
        EXPECT_LE(calls, ticket.accepted ? 1 : 0) << "kind " << ticket.key;
        if (ticket.accepted && calls == 0) {
            ++m_book.dropped;
            EXPECT_FALSE(ticket.life->drained) << "kind " << ticket.key << " was lost";
        }
        if (ticket.mustBe600 && calls > 0) {
            ++m_book.cancelledFirst;
            EXPECT_EQ(ticket.status, status::kCancelled) << "kind " << ticket.key;
        }
        ticket.expectedCalls = calls;  // for the check in its destructor
    };
    for (std::deque<Ticket>& own : m_tickets) {
        for (Ticket& ticket : own) {
            account(ticket);
        }
    }
    for (Ticket& ticket : m_inner) {
        account(ticket);
    }
    EXPECT_EQ(m_book.accepted, m_book.calledBack + m_book.dropped);
    return m_book;
}

}  // namespace W::test
