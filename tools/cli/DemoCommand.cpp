// ostinel-cli demo FOLDER: a project folder with a small show and its audio,
// all synthesised here, to try the system without any media of one's own.

#include <sndfile.h>

#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include "Command.h"
#include "DemoSynth.h"
#include "document/Show.h"
#include "document/ShowFile.h"

namespace ostinel::cli {

namespace {

namespace fs = std::filesystem;

std::optional<std::string> writeWav(const fs::path& path, const demo::Stereo& audio) {
    SF_INFO info{};
    info.samplerate = demo::sampleRate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file) return std::string(sf_strerror(nullptr));
    const sf_count_t written = sf_writef_float(file, audio.samples.data(), audio.frames());
    std::string reason = written == audio.frames() ? "" : sf_strerror(file);
    if (sf_close(file) != 0 && reason.empty()) reason = "the file could not be closed";
    if (!reason.empty()) return reason;
    return std::nullopt;
}

Track trackFor(const fs::path& folder, const std::string& name, const std::string& fileName,
               const demo::Stereo& audio, std::string colour) {
    Track t;
    t.name = name;
    t.url = FileUrl::fromPath((folder / "Media" / fileName).string());
    t.relativePath = "Media/" + fileName;
    t.duration = audio.seconds();
    t.endSeconds = t.duration;
    t.colorHex = std::move(colour);
    return t;
}

Track padTrack(const fs::path& folder, const demo::Stereo& audio) {
    Track t = trackFor(folder, "Walk-in Pad", "Walk-in Pad.wav", audio, "4A7BD0");
    t.fade = {6.0, 8.0};
    t.notes = "Plays while the audience comes in. GO when the house lights go down.";
    return t;
}

Track grooveTrack(const fs::path& folder, const demo::Stereo& audio) {
    using L = demo::GrooveLayout;
    Track t = trackFor(folder, "Groove 120", "Groove 120.wav", audio, "E8913A");
    t.beatgridEnabled = true;
    t.bpm = L::bpm;
    t.beatOffsetSeconds = L::firstDownbeatSeconds;

    Loop vamp;
    vamp.name = "Vamp";
    vamp.startSeconds = L::barStartSeconds(L::vampFirstBar);
    vamp.endSeconds = L::barStartSeconds(L::vampFirstBar + L::vampBars);
    vamp.playCountEnabled = false;
    t.loops.push_back(vamp);

    Note bandIn;
    bandIn.name = "Band in";
    bandIn.body = "Full kit from here. Vamp until the MD calls the ending, then GO to leave the loop.";
    bandIn.timeSeconds = vamp.startSeconds;
    t.timelineNotes.push_back(bandIn);

    MidiTrigger lights;
    lights.name = "Lights: chase";
    lights.timeSeconds = vamp.startSeconds;
    lights.type = MidiTriggerType::noteOn;
    lights.channel = 1;
    lights.number = 60;
    lights.value = 100;
    t.midiTriggers.push_back(lights);

    OSCTrigger blackout;
    blackout.name = "Blackout";
    blackout.timeSeconds = L::barStartSeconds(L::finalHitBar);
    blackout.address = "/cue/12/go";
    t.oscTriggers.push_back(blackout);
    return t;
}

Track stingTrack(const fs::path& folder, const demo::Stereo& audio) {
    Track t = trackFor(folder, "Closing Sting", "Closing Sting.wav", audio, "C94F6D");
    t.notes = "Bows.";
    return t;
}

// Only an empty or missing folder is written into, so nothing is ever
// overwritten; what is created there is all ours to clean up on failure.
int writeDemo(const fs::path& folder) {
    std::error_code ec;
    const auto status = fs::status(folder, ec);
    if (ec && status.type() != fs::file_type::not_found)
        return fail("Could not look at " + folder.string() + ": " + ec.message());
    if (fs::exists(status)) {
        if (!fs::is_directory(status)) return fail("Not a folder: " + folder.string());
        const bool empty = fs::is_empty(folder, ec);
        if (ec) return fail("Could not look into " + folder.string() + ": " + ec.message());
        if (!empty)
            return fail("The folder is not empty: " + folder.string() + "\nChoose a new or empty folder for the demo.");
    }
    const fs::path media = folder / "Media";
    fs::create_directories(media, ec);
    if (ec) return fail("Could not create the project folder " + folder.string() + ": " + ec.message());

    auto abandon = [&](const std::string& message) {
        std::error_code ignored;
        for (const auto& entry : fs::directory_iterator(folder, ignored)) fs::remove_all(entry.path(), ignored);
        return fail(message);
    };

    Show show;
    show.name = "Ostinel Demo";
    const demo::Stereo pad = demo::renderPad();
    show.tracks.push_back(padTrack(folder, pad));
    const demo::Stereo groove = demo::renderGroove();
    show.tracks.push_back(grooveTrack(folder, groove));
    const demo::Stereo sting = demo::renderSting();
    show.tracks.push_back(stingTrack(folder, sting));

    const demo::Stereo* audio[] = {&pad, &groove, &sting};
    for (std::size_t i = 0; i < show.tracks.size(); ++i) {
        const std::string& path = show.tracks[i].url.path();
        if (auto reason = writeWav(path, *audio[i])) return abandon("Could not write " + path + ": " + *reason);
    }
    const fs::path showFile = folder / (folder.filename().string() + ".ot");
    if (auto error = ShowFile::write(show, showFile.string(), ShowFile::Flavour::pretty))
        return abandon("Could not write " + showFile.string() + ": " + error->message);
    return 0;
}

int run(const Args& args) {
    if (args.size() != 1 || args[0].empty()) return fail("usage: ostinel-cli demo FOLDER");
    std::error_code ec;
    fs::path folder = fs::absolute(args[0], ec).lexically_normal();
    if (ec) return fail("Could not resolve " + args[0] + ": " + ec.message());
    // "demo/" names the folder "demo", as does "demo".
    if (!folder.has_filename()) folder = folder.parent_path();
    return writeDemo(folder);
}

const Command command("demo", "demo FOLDER", run);

} // namespace

} // namespace ostinel::cli
