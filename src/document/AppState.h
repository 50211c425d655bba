#pragma once

#include <QObject>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "base/FileUrl.h"
#include "document/AutosaveWriter.h"
#include "document/LoudnessMeasurement.h"
#include "document/Show.h"
#include "document/TimelineClipboard.h"
#include "document/TimelineEdits.h"
#include "platform/AppPaths.h"
#include "platform/MainLoop.h"

namespace ostinel {

class Dialogs;
class Preferences;

// A read-write accessor on one value inside the show, for views that edit a
// field in place. It holds the AppState by reference: keep it no longer.
template <class T>
class Binding {
public:
    Binding(std::function<T()> get, std::function<void(const T&)> set) : get_(std::move(get)), set_(std::move(set)) {}
    T get() const { return get_(); }
    void set(const T& value) const { set_(value); }

private:
    std::function<T()> get_;
    std::function<void(const T&)> set_;
};

// The one owner of the open show, for the life of the process. Every edit is
// an assignment of the whole Show value; undo keeps whole snapshots, which is
// cheap because the lists inside share storage until written. Main thread only.
class AppState : public QObject {
    Q_OBJECT
public:
    static constexpr std::size_t maxUndoSteps = 100;
    // Changes closer together than this form one undo step.
    static constexpr double coalesceSeconds = 0.5;

    struct LoudnessProgress {
        std::int64_t done = 0;
        std::int64_t total = 0;
        friend bool operator==(const LoudnessProgress&, const LoudnessProgress&) = default;
    };

    AppState(MainLoop& mainLoop, Preferences& preferences, Dialogs& dialogs, AppPaths paths,
             QObject* parent = nullptr);
    ~AppState() override;

    // --- The document --------------------------------------------------------
    const Show& show() const { return show_; }
    // Every write goes through history: a write that changes nothing is
    // neither dirty nor undoable.
    void setShow(Show value);
    // Called whenever the whole show is swapped (undo, redo, open, removal of
    // tracks), so the engine and the control mappings can resynchronise.
    std::function<void(const Show&)> onShowReplaced;

    AppMode mode() const { return mode_; }
    void setMode(AppMode mode);

    // --- Selection -----------------------------------------------------------
    const std::optional<Uuid>& selectedTrackID() const { return selectedTrackID_; }
    void setSelectedTrackID(std::optional<Uuid> id);
    const std::set<Uuid>& selectedTrackIDs() const { return selectedTrackIDs_; }
    void setSelectedTrackIDs(std::set<Uuid> ids);
    const std::optional<Uuid>& preselectedTrackID() const { return preselectedTrackID_; }
    void setPreselectedTrackID(std::optional<Uuid> id);
    // At most one timeline item is selected, and none in Show mode.
    const std::optional<Uuid>& selectedLoopID() const { return selectedLoopID_; }
    void setSelectedLoopID(std::optional<Uuid> id) { setTimelineSelection(TimelineItemKind::loop, id); }
    const std::optional<Uuid>& selectedNoteID() const { return selectedNoteID_; }
    void setSelectedNoteID(std::optional<Uuid> id) { setTimelineSelection(TimelineItemKind::note, id); }
    const std::optional<Uuid>& selectedMidiTriggerID() const { return selectedMidiTriggerID_; }
    void setSelectedMidiTriggerID(std::optional<Uuid> id) { setTimelineSelection(TimelineItemKind::midiTrigger, id); }
    const std::optional<Uuid>& selectedOSCTriggerID() const { return selectedOSCTriggerID_; }
    void setSelectedOSCTriggerID(std::optional<Uuid> id) { setTimelineSelection(TimelineItemKind::oscTrigger, id); }
    const std::optional<Uuid>& timelineSelection(TimelineItemKind kind) const;
    void setTimelineSelection(TimelineItemKind kind, std::optional<Uuid> id);
    void clearTimelineSelection();
    std::optional<Track> selectedTrack() const;

    const std::optional<TimelineClipboard>& timelineClipboard() const { return timelineClipboard_; }
    void setTimelineClipboard(std::optional<TimelineClipboard> clipboard);

    // --- File identity -------------------------------------------------------
    const std::optional<FileUrl>& currentFileURL() const { return currentFileURL_; }
    void setCurrentFileURL(std::optional<FileUrl> url);
    const std::optional<FileUrl>& projectFolderURL() const { return projectFolderURL_; }
    void setProjectFolderURL(std::optional<FileUrl> url);
    const std::vector<FileUrl>& recentShowURLs() const { return recentShowURLs_; }
    void setRecentShowURLs(std::vector<FileUrl> urls);
    bool isDirty() const { return isDirty_; }
    void setDirty(bool dirty);

    // --- History -------------------------------------------------------------
    bool canUndo() const { return canUndo_; }
    bool canRedo() const { return canRedo_; }
    void undo();
    void redo();
    // For a newly loaded, restored or made show: history never crosses shows.
    void resetHistory();

    // --- Preferences kept as fields; a set writes the preference at once ------
    bool openLastShowOnLaunch() const { return openLastShowOnLaunch_; }
    void setOpenLastShowOnLaunch(bool on);
    bool showCheckOnShowMode() const { return showCheckOnShowMode_; }
    void setShowCheckOnShowMode(bool on);
    bool preserveZoomOnTrackSwitch() const { return preserveZoomOnTrackSwitch_; }
    void setPreserveZoomOnTrackSwitch(bool on);
    bool spectralColoringEnabled() const { return spectralColoringEnabled_; }
    void setSpectralColoringEnabled(bool on);
    bool waveformFollowsVolume() const { return waveformFollowsVolume_; }
    void setWaveformFollowsVolume(bool on);
    bool helplineEnabled() const { return helplineEnabled_; }
    void setHelplineEnabled(bool on);

    // --- Analysis in progress ------------------------------------------------
    const std::optional<Uuid>& analyzingTempoTrackID() const { return analyzingTempoTrackID_; }
    void setAnalyzingTempoTrackID(std::optional<Uuid> id);
    const std::optional<LoudnessProgress>& loudnessProgress() const { return loudnessProgress_; }
    void setLoudnessProgress(std::optional<LoudnessProgress> progress);

    // --- Control mappings and OSC route ---------------------------------------
    // Only keys that parse as a UUID and name a track of the show.
    std::map<Uuid, MidiKey> midiTrackMappings() const;
    std::map<Uuid, std::int64_t> numberMappings() const;
    void setMidiTrackMappings(const std::map<Uuid, MidiKey>& mappings);
    void setNumberMappings(const std::map<Uuid, std::int64_t>& mappings);
    void setOSCTriggerRoute(const std::string& host, std::int64_t port);

    // --- Bindings: a missing track or item reads as a blank placeholder, and a
    // write to it is dropped ---------------------------------------------------
    Binding<Track> trackBinding(const Uuid& trackID);
    Binding<Loop> loopBinding(const Uuid& trackID, const Uuid& loopID);
    Binding<Note> noteBinding(const Uuid& trackID, const Uuid& noteID);
    Binding<MidiTrigger> midiTriggerBinding(const Uuid& trackID, const Uuid& triggerID);
    Binding<OSCTrigger> oscTriggerBinding(const Uuid& trackID, const Uuid& triggerID);
    Binding<double> loopStartBinding(const Uuid& trackID, const Uuid& loopID);
    Binding<double> loopEndBinding(const Uuid& trackID, const Uuid& loopID);

    // Copies the show, edits that one track in place and assigns once, so the
    // other tracks stay shared with the undo snapshots. False for an unknown id.
    bool editTrack(const Uuid& trackID, const std::function<void(Track&)>& edit);

    // --- Timeline edits: unknown tracks and rejected input do nothing --------
    std::optional<Uuid> addLoop(const Uuid& trackID, double start, double end);
    void deleteLoop(const Uuid& trackID, const Uuid& loopID);
    void setLoopStart(const Uuid& trackID, const Uuid& loopID, double value);
    void setLoopEnd(const Uuid& trackID, const Uuid& loopID, double value);
    std::optional<Loop> loop(const Uuid& trackID, const Uuid& loopID) const;

    std::optional<Uuid> addAutomationPoint(const Uuid& trackID, double t, std::optional<double> db = std::nullopt);
    std::optional<Uuid> addNote(const Uuid& trackID, double t);
    std::optional<Uuid> addMidiTrigger(const Uuid& trackID, double t);
    std::optional<Uuid> addOSCTrigger(const Uuid& trackID, double t);
    void setNoteTime(const Uuid& trackID, const Uuid& noteID, double t);
    void setMidiTriggerTime(const Uuid& trackID, const Uuid& triggerID, double t);
    void setOSCTriggerTime(const Uuid& trackID, const Uuid& triggerID, double t);
    void deleteNote(const Uuid& trackID, const Uuid& noteID);
    void deleteMidiTrigger(const Uuid& trackID, const Uuid& triggerID);
    void deleteOSCTrigger(const Uuid& trackID, const Uuid& triggerID);
    // Loops wholly inside and automation points; a and b in either order.
    void deleteInRange(const Uuid& trackID, double a, double b);
    void deleteNotesInRange(const Uuid& trackID, double a, double b);
    void deleteTriggersInRange(const Uuid& trackID, double a, double b);
    void deleteOSCTriggersInRange(const Uuid& trackID, double a, double b);

    void copySelectedItem();
    // With no range at all, copies the selected item instead.
    bool copyTimelineSelection(const Uuid& trackID, std::optional<TimeRange> loopRange,
                               std::optional<TimeRange> noteRange, std::optional<TimeRange> triggerRange,
                               std::optional<TimeRange> oscRange);
    void pasteAtTime(const Uuid& trackID, double t);
    void pasteLoop(const Uuid& trackID, double t) { pasteClipboard(trackID, t, TimelineItemKind::loop); }
    void pasteNote(const Uuid& trackID, double t) { pasteClipboard(trackID, t, TimelineItemKind::note); }
    void pasteTrigger(const Uuid& trackID, double t) { pasteClipboard(trackID, t, TimelineItemKind::midiTrigger); }
    void pasteOSCTrigger(const Uuid& trackID, double t) { pasteClipboard(trackID, t, TimelineItemKind::oscTrigger); }

    // --- Tracks ----------------------------------------------------------------
    // Unreadable files are named in one alert; the readable ones are still added.
    void addTracks(const std::vector<FileUrl>& urls, std::optional<std::size_t> index = std::nullopt);
    bool addTracksPanel();
    void duplicateTrack(const Uuid& trackID);
    void removeTracks(const std::set<Uuid>& trackIDs);
    // Sets the volume of every measured track, as one undo step of its own;
    // answers the sentence for cues that stopped short of the target.
    std::optional<std::string> applyLoudnessMatch(const std::map<Uuid, LoudnessMeasurement>& measurements,
                                                  double targetLufs);

    // --- Show lifecycle: the operations that ask go through Dialogs ----------
    // Stand-ins for the waveform store and the engine until they are wired:
    // prerender is given every file to draw, in show order (or the relinked
    // files), relinked the tracks whose file changed under them.
    std::function<void(const std::vector<FileUrl>&)> prerenderHook;
    std::function<void(const std::set<Uuid>& relinkedIDs)> relinkedHook;
    // A short line for the operator (a refused edit, a failed autosave); the
    // application shows it as the transport's notice.
    std::function<void(const std::string&)> noticeHook;

    double autosaveInterval() const { return autosaveInterval_; }
    // Writes the preference; restarts the timer only for a new value.
    void setAutosaveInterval(double seconds);

    // True when it is fine to replace the show: clean, saved, or let go.
    bool confirmDiscardingChanges(const std::string& text);
    bool newShow();
    void openShow();
    // False when cancelled or the file could not be read (after the alert).
    bool loadShow(const FileUrl& url);
    bool saveShow();
    bool saveShowAs();
    bool saveShowAsProject();
    // The pretty file, with lastMode from the current mode; alerts on failure.
    bool write(const FileUrl& url);
    // Copies every track's file into the folder's Media, never moving one.
    void consolidateMedia(const FileUrl& folder);
    // Points project tracks at their copies beside the show file, so a moved
    // project folder still finds its media.
    void resolveProjectPaths(const FileUrl& showFileURL);
    void addRecent(const FileUrl& url);
    void scheduleAutosaveTimer();
    // The compact file for crash recovery, only for a dirty show with tracks,
    // encoded and written off the main thread. A failure is told once, and
    // again only after a write has succeeded in between.
    void autosave();
    void offerRecoveryIfAvailable();
    void openLastShowIfRequested();
    void prerenderShow();
    // Final: no autosave begun before it can leave a file behind.
    void deleteAutosave();
    // Blocks until the autosave in flight is on disk; its outcome still comes
    // through the main loop.
    void waitForAutosave();
    // Where autosaves run; for tests that decide when, before the first one.
    void setAutosaveExecutor(AutosaveWriter::Executor executor);

    // --- Relinking moved files ------------------------------------------------
    // Points the track at url, reading its length; no history of its own.
    void applyRelink(Track& track, const FileUrl& url) const;
    // Asks for the file, or a folder to search for every missing file.
    void relinkTrack(const Uuid& trackID);
    // Every missing file searched for below the folder, one undo step, and a
    // report of what was found.
    void relinkAll(const FileUrl& folder);
    void reloadRelinked(const std::vector<FileUrl>& urls, const std::set<Uuid>& relinkedIDs);

signals:
    void showChanged();
    void modeChanged();
    void selectedTrackIDChanged();
    void selectedTrackIDsChanged();
    void preselectedTrackIDChanged();
    void selectedLoopIDChanged();
    void selectedNoteIDChanged();
    void selectedMidiTriggerIDChanged();
    void selectedOSCTriggerIDChanged();
    void timelineClipboardChanged();
    void currentFileURLChanged();
    void projectFolderURLChanged();
    void recentShowURLsChanged();
    void isDirtyChanged();
    void canUndoChanged();
    void canRedoChanged();
    void openLastShowOnLaunchChanged();
    void showCheckOnShowModeChanged();
    void preserveZoomOnTrackSwitchChanged();
    void spectralColoringEnabledChanged();
    void waveformFollowsVolumeChanged();
    void helplineEnabledChanged();
    void analyzingTempoTrackIDChanged();
    void loudnessProgressChanged();
    void autosaveIntervalChanged();

private:
    using Signal = void (AppState::*)();

    // Stores the value and emits only when it really changed.
    template <class T>
    bool assign(T& field, T value, Signal changed) {
        if (field == value) return false;
        field = std::move(value);
        (this->*changed)();
        return true;
    }
    void setPreference(bool& field, bool value, const char* key, Signal changed);
    static std::pair<std::optional<Uuid> AppState::*, Signal> selectionSlot(TimelineItemKind kind);

    void recordChange(Show old);
    void restore(Show snapshot);
    void step(std::deque<Show>& from, std::deque<Show>& to);
    void endCoalescing();
    void updateUndoFlags();

    template <class T>
    Binding<T> itemBinding(const Uuid& trackID, const Uuid& itemID);
    template <class T>
    std::optional<Uuid> addItem(const Uuid& trackID, double t);
    template <class T>
    void setItemTime(const Uuid& trackID, const Uuid& itemID, double t);
    template <class T>
    void deleteItem(const Uuid& trackID, const Uuid& itemID);
    template <class T>
    void deleteItemsInRange(const Uuid& trackID, double a, double b);
    void pasteClipboard(const Uuid& trackID, double t, std::optional<TimelineItemKind> only);
    template <class V>
    void removeMappingKeys(Cow<std::map<std::string, V>> Show::*mappings, const std::set<Uuid>& trackIDs);

    MainLoop& mainLoop_;
    Preferences& preferences_;
    Dialogs& dialogs_;
    AppPaths paths_;

    Show show_;
    AppMode mode_ = AppMode::edit;
    std::optional<Uuid> selectedTrackID_;
    std::set<Uuid> selectedTrackIDs_;
    std::optional<Uuid> preselectedTrackID_;
    std::optional<Uuid> selectedLoopID_;
    std::optional<Uuid> selectedNoteID_;
    std::optional<Uuid> selectedMidiTriggerID_;
    std::optional<Uuid> selectedOSCTriggerID_;
    std::optional<TimelineClipboard> timelineClipboard_;
    std::optional<FileUrl> currentFileURL_;
    std::optional<FileUrl> projectFolderURL_;
    std::vector<FileUrl> recentShowURLs_;
    bool isDirty_ = false;

    bool openLastShowOnLaunch_ = false;
    bool showCheckOnShowMode_ = true;
    bool preserveZoomOnTrackSwitch_ = false;
    bool spectralColoringEnabled_ = false;
    bool waveformFollowsVolume_ = true;
    bool helplineEnabled_ = true;

    std::optional<Uuid> analyzingTempoTrackID_;
    std::optional<LoudnessProgress> loudnessProgress_;

    bool canUndo_ = false;
    bool canRedo_ = false;
    // Last element is the next one to take. Snapshots share storage, so a
    // deque of whole shows costs little more than its length.
    std::deque<Show> undoStack_;
    std::deque<Show> redoStack_;
    bool isRestoring_ = false;
    bool coalescing_ = false;
    std::optional<MainLoop::TimerId> coalesceTimer_;

    // Lifecycle (AppStateLifecycle.cpp).
    void startLifecycle();
    void cancelAutosaveTimer();
    Show showForDisk() const;
    void installShow(Show show);
    void setFolderIcon(const FileUrl& folder) const;
    void autosaveFinished(const std::optional<Error>& error);
    void notice(const std::string& text) const;
    // True, after saying so, for an edit of the running order in Show mode.
    bool refusedInShowMode(const char* verb) const;
    double autosaveInterval_ = 30.0;
    std::optional<MainLoop::TimerId> autosaveTimer_;
    std::unique_ptr<AutosaveWriter> autosaveWriter_;
    bool autosaveFailureTold_ = false;
};

} // namespace ostinel
