#pragma once

#include <QString>
#include <QWidget>

#include <cstdint>
#include <functional>

class QCheckBox;
class QFormLayout;
class QLabel;
class QPushButton;

namespace ostinel {

struct RemoteSettings;
struct Workspace;
class PortField;
class RemoteAddressList;
class RemoteSettingsModel;

// The web remote: the switch, its port, the PIN a phone signs in with, the
// addresses to reach this machine at and a QR code of the first one. The
// listener, the devices and the network change on their own, so those are
// read again every second.
class RemoteSettingsTab : public QWidget {
    Q_OBJECT
  public:
    static constexpr double refreshSeconds = 1.0;
    static constexpr int qrSize = 180;

    explicit RemoteSettingsTab(Workspace& workspace, QWidget* parent = nullptr);
    ~RemoteSettingsTab() override;

    // "No phones connected", "1 phone connected", "3 phones connected".
    static QString clientText(int count);

    // Null without a remote.
    QCheckBox* enabledBox() const { return enabled_; }
    PortField* portField() const { return port_; }
    QCheckBox* directBox() const { return direct_; }
    QLabel* pinLabel() const { return pin_; }
    QPushButton* newPinButton() const { return newPin_; }
    QLabel* statusLabel() const { return status_; }
    RemoteAddressList* addressList() const { return addresses_; }
    QLabel* qrLabel() const { return qr_; }
    QLabel* clientLabel() const { return clients_; }

  private:
    void build();
    void edit(const std::function<void(RemoteSettings&)>& change);
    void reflect();
    void refresh();
    void showSignIn(bool enabled, const std::string& host, int port);

    Workspace& workspace_;
    RemoteSettingsModel* model_ = nullptr;
    std::uint64_t timer_ = 0;
    QCheckBox* enabled_ = nullptr;
    PortField* port_ = nullptr;
    QLabel* status_ = nullptr;
    QCheckBox* direct_ = nullptr;
    QLabel* pin_ = nullptr;
    QPushButton* newPin_ = nullptr;
    RemoteAddressList* addresses_ = nullptr;
    QFormLayout* form_ = nullptr;
    QWidget* signIn_ = nullptr;
    QLabel* qr_ = nullptr;
    QLabel* url_ = nullptr;
    QLabel* clients_ = nullptr;
    std::string shownURL_;
};

} // namespace ostinel
