#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ostinel {

// Announces a TCP service on the local network through the Avahi daemon
// (DNS-SD over multicast DNS), under this machine's host name, or the next
// free alternative when another machine holds it. Nothing here waits on the
// daemon: the work happens on a thread of Avahi's own, started at the first
// publish. Without a daemon nothing is announced, and that is said once in
// the log; once a daemon appears, the service is announced after all.
class ServiceAdvertiser {
  public:
    using Txt = std::vector<std::pair<std::string, std::string>>;

    // type as "_name._tcp".
    explicit ServiceAdvertiser(std::string type);
    ~ServiceAdvertiser();
    ServiceAdvertiser(const ServiceAdvertiser&) = delete;
    ServiceAdvertiser& operator=(const ServiceAdvertiser&) = delete;

    void publish(int port, const Txt& txt);
    // New TXT values for the published service, which stays as it is:
    // browsers see the record change, connections are not touched.
    void update(const Txt& txt);
    void withdraw();

  private:
    struct Engine;
    std::string type_;
    std::unique_ptr<Engine> engine_;
};

} // namespace ostinel
