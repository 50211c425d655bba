#pragma once

#include <QWidget>

#include <cstdint>
#include <functional>

class QCheckBox;
class QLabel;
class QLineEdit;

namespace ostinel {

struct OscSettings;
struct Workspace;
class OscSettingsModel;
class PortField;

// The three OSC sockets: commands in, status feedback out, timeline
// triggers out. Each switch, host and port writes through at once; the
// status of each socket is read again every second, since a socket changes
// state on its own.
class OscSettingsTab : public QWidget {
    Q_OBJECT
public:
    static constexpr double statusRefreshSeconds = 1.0;

    explicit OscSettingsTab(Workspace& workspace, QWidget* parent = nullptr);
    ~OscSettingsTab() override;

    // Null without an OSC controller.
    QCheckBox* receiveBox() const { return receive_; }
    PortField* receivePort() const { return receivePort_; }
    QCheckBox* feedbackBox() const { return feedback_; }
    QLineEdit* feedbackHost() const { return feedbackHost_; }
    PortField* feedbackPort() const { return feedbackPort_; }
    QCheckBox* triggerBox() const { return trigger_; }
    QLineEdit* triggerHost() const { return triggerHost_; }
    PortField* triggerPort() const { return triggerPort_; }
    QLabel* listenerStatus() const { return listenerStatus_; }
    QLabel* feedbackStatus() const { return feedbackStatus_; }
    QLabel* triggerStatus() const { return triggerStatus_; }

private:
    void build();
    void edit(const std::function<void(OscSettings&)>& change);
    void reflect();
    void refreshStatus();

    Workspace& workspace_;
    OscSettingsModel* model_ = nullptr;
    std::uint64_t statusTimer_ = 0;
    QCheckBox* receive_ = nullptr;
    PortField* receivePort_ = nullptr;
    QCheckBox* feedback_ = nullptr;
    QLineEdit* feedbackHost_ = nullptr;
    PortField* feedbackPort_ = nullptr;
    QCheckBox* trigger_ = nullptr;
    QLineEdit* triggerHost_ = nullptr;
    PortField* triggerPort_ = nullptr;
    QLabel* listenerStatus_ = nullptr;
    QLabel* feedbackStatus_ = nullptr;
    QLabel* triggerStatus_ = nullptr;
};

} // namespace ostinel
