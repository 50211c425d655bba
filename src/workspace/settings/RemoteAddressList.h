#pragma once

#include <QWidget>

#include <vector>

#include "control/RemoteAddress.h"

class QVBoxLayout;

namespace ostinel {

// The addresses a phone can open, one row each: the address, the link it
// is on, and for a link only a nearby device can use, a line saying so.
class RemoteAddressList : public QWidget {
    Q_OBJECT
  public:
    static constexpr const char* noAddress =
        "This Mac has no network address. Connect it to the show network.";
    static constexpr const char* selfAssignedNote =
        "Only for a device connected straight to this Mac, with no router — by cable, for example.";
    static constexpr const char* sharingNote = "For a device joined to this Mac's Internet Sharing.";

    explicit RemoteAddressList(QWidget* parent = nullptr);

    // Rebuilds the rows only when the list changed, so a selection the
    // operator made in a row survives the regular refresh.
    void setAddresses(const std::vector<RemoteAddress>& addresses);

  private:
    QWidget* row(const RemoteAddress& address) const;

    QVBoxLayout* rows_ = nullptr;
    std::vector<RemoteAddress> shown_;
    bool built_ = false;
};

} // namespace ostinel
