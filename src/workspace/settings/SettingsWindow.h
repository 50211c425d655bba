#pragma once

#include <QString>
#include <QWidget>

class QTabWidget;

namespace ostinel {

struct Workspace;
class GeneralSettingsTab;
class AudioSettingsTab;
class MidiSettingsTab;
class OscSettingsTab;
class RemoteSettingsTab;

// The machine's own configuration, one tab per concern. Every control writes
// straight through to the owner of its value; there is no apply button.
class SettingsWindow : public QWidget {
    Q_OBJECT
  public:
    explicit SettingsWindow(Workspace& workspace, QWidget* parent = nullptr);

    // "General", "Audio", "MIDI", "OSC" or "Remote"; any other name, or a
    // tab not there on this machine, shows "General".
    void showTab(const QString& name);
    QString currentTabName() const;

    GeneralSettingsTab* generalTab() const { return general_; }
    AudioSettingsTab* audioTab() const { return audio_; }
    MidiSettingsTab* midiTab() const { return midi_; }
    OscSettingsTab* oscTab() const { return osc_; }
    RemoteSettingsTab* remoteTab() const { return remote_; }

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    Workspace& workspace_;
    QTabWidget* tabs_ = nullptr;
    GeneralSettingsTab* general_ = nullptr;
    AudioSettingsTab* audio_ = nullptr;
    MidiSettingsTab* midi_ = nullptr;
    OscSettingsTab* osc_ = nullptr;
    RemoteSettingsTab* remote_ = nullptr;
};

} // namespace ostinel
