#include "platform/ServiceAdvertiser.h"

#include <avahi-client/client.h>
#include <avahi-client/publish.h>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/thread-watch.h>
#include <avahi-common/timeval.h>

#include <QLoggingCategory>

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <mutex>

namespace ostinel {
namespace {

Q_LOGGING_CATEGORY(advertiserLog, "com.ostinel.remote")

struct Wanted {
    bool published = false;
    int port = 0;
    ServiceAdvertiser::Txt txt;
};

AvahiStringList* stringList(const ServiceAdvertiser::Txt& txt) {
    AvahiStringList* list = nullptr;
    // Each pair is prepended: walk backwards to keep the given order.
    for (auto it = txt.rbegin(); it != txt.rend(); ++it)
        list = avahi_string_list_add_pair(list, it->first.c_str(), it->second.c_str());
    return list;
}

} // namespace

// Everything below `mutex` and `wanted` belongs to Avahi's thread: it runs
// only in its callbacks, or before the thread starts and after it stops.
// The caller's side only writes what it wants and wakes that thread, so
// it never waits for the daemon, nor for the lock Avahi holds meanwhile.
struct ServiceAdvertiser::Engine {
    const std::string type;
    AvahiThreadedPoll* poll = nullptr;
    const AvahiPoll* api = nullptr;
    AvahiWatch* watch = nullptr;
    int wake = -1;

    std::mutex mutex;
    Wanted wanted;

    AvahiClient* client = nullptr;
    AvahiEntryGroup* group = nullptr;
    Wanted applied;
    std::string name;
    bool toldUnavailable = false;

    explicit Engine(std::string serviceType) : type(std::move(serviceType)) {
        wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        poll = avahi_threaded_poll_new();
        if (wake < 0 || !poll) {
            unavailable("the event loop could not be made");
            return;
        }
        api = avahi_threaded_poll_get(poll);
        watch = api->watch_new(api, wake, AVAHI_WATCH_IN, &Engine::woken, this);
        timeval now{};
        // The client is made on Avahi's thread: reaching the system bus may take a while.
        api->timeout_new(api, avahi_elapse_time(&now, 0, 0), &Engine::begin, this);
        if (avahi_threaded_poll_start(poll) < 0) unavailable("its thread could not start");
    }

    ~Engine() {
        if (poll) avahi_threaded_poll_stop(poll);
        if (client) avahi_client_free(client); // frees the group as well
        if (watch) api->watch_free(watch);
        if (poll) avahi_threaded_poll_free(poll);
        if (wake >= 0) close(wake);
    }

    void want(const std::function<void(Wanted&)>& change) {
        {
            const std::lock_guard lock(mutex);
            change(wanted);
        }
        if (wake >= 0) {
            const std::uint64_t one = 1;
            [[maybe_unused]] const auto written = write(wake, &one, sizeof one);
        }
    }

    void unavailable(const char* why) {
        if (toldUnavailable) return;
        toldUnavailable = true;
        qCInfo(advertiserLog, "The remote is not announced on the network: Avahi is not available (%s).",
               why);
    }

    static void begin(AvahiTimeout* timeout, void* self) {
        auto* engine = static_cast<Engine*>(self);
        engine->api->timeout_free(timeout);
        engine->connect();
    }

    void connect() {
        int error = 0;
        // NO_FAIL: without a daemon the client waits for one to appear.
        client = avahi_client_new(api, AVAHI_CLIENT_NO_FAIL, &Engine::clientChanged, this, &error);
        if (!client) unavailable(avahi_strerror(error));
    }

    static void woken(AvahiWatch*, int fd, AvahiWatchEvent, void* self) {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto got = read(fd, &count, sizeof count);
        static_cast<Engine*>(self)->apply();
    }

    static void clientChanged(AvahiClient* client, AvahiClientState state, void* self) {
        auto* engine = static_cast<Engine*>(self);
        switch (state) {
        case AVAHI_CLIENT_S_RUNNING:
            engine->client = client;
            if (engine->name.empty()) engine->name = avahi_client_get_host_name(client);
            engine->applied = {};
            engine->apply();
            break;
        case AVAHI_CLIENT_S_COLLISION:
        case AVAHI_CLIENT_S_REGISTERING:
            // The host name is being settled; announce again once it is.
            if (engine->group) avahi_entry_group_reset(engine->group);
            engine->applied = {};
            break;
        case AVAHI_CLIENT_CONNECTING:
            engine->unavailable("no daemon is running");
            break;
        case AVAHI_CLIENT_FAILURE:
            // While it is being made, the client is not ours to free yet.
            if (client == engine->client)
                engine->lost(avahi_client_errno(client));
            else
                engine->unavailable(avahi_strerror(avahi_client_errno(client)));
            break;
        }
    }

    // The daemon went away: start over, waiting for it to come back. Any
    // other failure is for good; trying again would only spin. The client
    // is freed from a timeout of its own, not inside its own callback.
    void lost(int error) {
        unavailable(avahi_strerror(error));
        group = nullptr;
        applied = {};
        timeval now{};
        api->timeout_new(api, avahi_elapse_time(&now, 0, 0),
                         error == AVAHI_ERR_DISCONNECTED ? &Engine::reconnect : &Engine::release, this);
    }

    static void release(AvahiTimeout* timeout, void* self) {
        auto* engine = static_cast<Engine*>(self);
        engine->api->timeout_free(timeout);
        avahi_client_free(engine->client);
        engine->client = nullptr;
    }

    static void reconnect(AvahiTimeout* timeout, void* self) {
        release(timeout, self);
        static_cast<Engine*>(self)->connect();
    }

    static void groupChanged(AvahiEntryGroup*, AvahiEntryGroupState state, void* self) {
        auto* engine = static_cast<Engine*>(self);
        if (state == AVAHI_ENTRY_GROUP_COLLISION)
            engine->renameAndRetry();
        else if (state == AVAHI_ENTRY_GROUP_FAILURE)
            qCWarning(advertiserLog, "Announcing the remote failed: %s",
                      avahi_strerror(avahi_client_errno(engine->client)));
    }

    void renameAndRetry() {
        char* alternative = avahi_alternative_service_name(name.c_str());
        qCInfo(advertiserLog, "The name \"%s\" is taken on the network; the remote is announced as \"%s\".",
               name.c_str(), alternative);
        name = alternative;
        avahi_free(alternative);
        applied = {};
        apply();
    }

    void apply() {
        Wanted now;
        {
            const std::lock_guard lock(mutex);
            now = wanted;
        }
        if (!client || avahi_client_get_state(client) != AVAHI_CLIENT_S_RUNNING) return;
        if (!now.published) {
            if (group) avahi_entry_group_reset(group);
            applied = {};
            return;
        }
        if (applied.published && applied.port == now.port) {
            if (applied.txt != now.txt) retext(now);
            return;
        }
        announce(now);
    }

    void retext(const Wanted& now) {
        AvahiStringList* txt = stringList(now.txt);
        const int error = avahi_entry_group_update_service_txt_strlst(
            group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags(0), name.c_str(), type.c_str(),
            nullptr, txt);
        avahi_string_list_free(txt);
        if (error < 0)
            qCWarning(advertiserLog, "Updating the remote's announcement failed: %s", avahi_strerror(error));
        else
            applied = now;
    }

    void announce(const Wanted& now) {
        if (!group) group = avahi_entry_group_new(client, &Engine::groupChanged, this);
        if (!group) {
            qCWarning(advertiserLog, "Announcing the remote failed: %s",
                      avahi_strerror(avahi_client_errno(client)));
            return;
        }
        avahi_entry_group_reset(group);
        AvahiStringList* txt = stringList(now.txt);
        int error = avahi_entry_group_add_service_strlst(
            group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags(0), name.c_str(), type.c_str(),
            nullptr, nullptr, static_cast<std::uint16_t>(now.port), txt);
        avahi_string_list_free(txt);
        if (error == AVAHI_ERR_COLLISION) return renameAndRetry();
        if (error >= 0) error = avahi_entry_group_commit(group);
        if (error < 0) {
            qCWarning(advertiserLog, "Announcing the remote failed: %s", avahi_strerror(error));
            return;
        }
        applied = now;
    }
};

ServiceAdvertiser::ServiceAdvertiser(std::string type) : type_(std::move(type)) {}

ServiceAdvertiser::~ServiceAdvertiser() = default;

void ServiceAdvertiser::publish(int port, const Txt& txt) {
    if (!engine_) engine_ = std::make_unique<Engine>(type_);
    engine_->want([&](Wanted& w) {
        w.published = true;
        w.port = port;
        w.txt = txt;
    });
}

void ServiceAdvertiser::update(const Txt& txt) {
    if (engine_) engine_->want([&](Wanted& w) { w.txt = txt; });
}

void ServiceAdvertiser::withdraw() {
    if (engine_) engine_->want([](Wanted& w) { w.published = false; });
}

} // namespace ostinel
