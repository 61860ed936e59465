// vqlog stats: what an analyst asks of a recording first, in one pass through the column
// reader in batches (memory bounded whatever the recording's length): each kind's rate and gaps,
// the delay's percentiles, blinks, PERCLOS per time window, fixations and saccades, tracking.
#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>

#include "vqlog/commands.h"
#include "vqlog/distribution.h"
#include "vqlog/kinds.h"
#include "vqlog/recording.h"
#include "vqlog/table.h"
#include "vqlog/terminal.h"

namespace vqlog {

namespace {

using vq::eod::io::Column;
using vq::eod::io::ColumnBatch;
using vq::eod::io::ColumnReader;
using vq::eod::io::ColumnReaderOptions;

constexpr double GAP_FACTOR = 1.5;           // an interval above 1.5 x the median is a gap
constexpr double CLOSED = 0.8;               // eyelid closure counted as closed for PERCLOS
constexpr std::size_t MAX_WINDOWS = 100000;  // PERCLOS windows kept
constexpr double DEGREES = 57.29577951308232;

struct StatsOptions {
    std::string path;
    std::string format = "text";
    double window = 60;
    double saccade_threshold = 30;
    SelectionOptions select;
};

// A kind: the frames holding it (a frame holds it when one of its columns has a value) and the
// intervals between them, in time_s and in frame numbers.
struct KindTrack {
    char id = 0;
    std::vector<int> columns;  // indices into the batch
    std::uint64_t frames = 0;
    bool timed = false;
    double last_time = 0;
    std::uint32_t last_frame = 0;
    std::unique_ptr<Distribution> times = std::make_unique<Distribution>();
    std::unique_ptr<Distribution> numbers = std::make_unique<Distribution>();
};

// Runs of one state (a blink, a fixation, a saccade): how many and their total duration.
struct Runs {
    std::uint64_t count = 0;
    double seconds = 0;
    double mean() const { return count == 0 ? 0 : seconds / static_cast<double>(count); }
};

// Blinks by one signal: a blink lasts from the first eyelid frame where the signal is on to the
// next eyelid frame where it is off (to the last eyelid frame at the end).
struct BlinkRuns {
    bool on = false;
    double start = 0;
    Runs runs;

    void add(bool signal, double time) {
        if (signal && !on) {
            start = time;
        } else if (!signal && on) {
            runs.seconds += time - start;
            ++runs.count;
        }
        on = signal;
    }
    void finish(double last_time) {
        if (on) {
            runs.seconds += last_time - start;
            ++runs.count;
            on = false;
        }
    }
};

// A gaze direction per eye (right 0, left 1) in radians, where the frame has it.
struct Gaze {
    bool has[2] = {false, false};
    double pitch[2] = {0, 0};
    double yaw[2] = {0, 0};
};

struct Window {
    std::uint64_t frames = 0;
    std::uint64_t closed = 0;
};

struct Stats {
    std::uint64_t frames = 0;
    std::uint32_t first_frame = 0;
    std::uint32_t last_frame = 0;
    bool timed = false;
    double first_time = 0;
    double last_time = 0;
    std::vector<KindTrack> kinds;
    Distribution delays;
    // Blinks, as runs of the blinking flag and as runs of closed eyelids; the flag's count is
    // reported unless no frame sets it.
    std::uint64_t lid_frames = 0;
    double lid_first = 0;
    double lid_last = 0;
    bool flag_seen = false;  // some frame's blinking flag is true
    BlinkRuns by_flag;
    BlinkRuns by_closure;
    const Runs& blinks() const { return flag_seen ? by_flag.runs : by_closure.runs; }
    // What the blinks were found by, for the report.
    const char* blinkSource() const { return flag_seen ? "flag" : "closure"; }
    // PERCLOS windows by index from the first timed frame's time.
    std::map<std::int64_t, Window> windows;
    // Fixations and saccades between consecutive gaze frames.
    bool gaze_started = false;
    double gaze_time = 0;
    Gaze gaze;
    int state = -1;  // of the last interval: 0 fixation, 1 saccade
    Runs movement[2];
    // Tracking.
    std::uint64_t head_frames = 0;
    std::uint64_t head_tracked = 0;
    std::uint64_t engine_frames = 0;
    std::uint64_t engine_running = 0;
};

template <typename T>
bool value(const ColumnBatch& batch, int column, std::size_t row, T& out) {
    if (column < 0 || !batch.column(static_cast<std::size_t>(column)).valid(row)) {
        return false;
    }
    out = batch.column(static_cast<std::size_t>(column)).values<T>()[row];
    return true;
}

class Collector {
public:
    Collector(const StatsOptions& options, std::vector<char> kinds) : _options(options) {
        const auto& all = vq::eod::columns(vq::eod::Table::FRAME);
        for (char id : kinds) {
            KindTrack kind;
            kind.id = id;
            for (std::size_t i = 0; i < all.size(); ++i) {
                const auto& from = vq::eod::columnKinds(vq::eod::Table::FRAME, i);
                if (std::find(from.begin(), from.end(), id) != from.end()) {
                    kind.columns.push_back(static_cast<int>(i));  // table index for now
                }
            }
            if (!kind.columns.empty()) {
                _stats.kinds.push_back(std::move(kind));
            }
        }
    }

    // The columns the reader is to give: the named ones, then those of the kinds.
    std::vector<std::string> columns() {
        std::vector<std::string> names(NAMES.begin(), NAMES.end());
        const auto& all = vq::eod::columns(vq::eod::Table::FRAME);
        for (KindTrack& kind : _stats.kinds) {
            for (int& column : kind.columns) {
                const std::string name = all[static_cast<std::size_t>(column)].name;
                const auto found = std::find(names.begin(), names.end(), name);
                column = static_cast<int>(found - names.begin());
                if (found == names.end()) {
                    names.push_back(name);
                }
            }
        }
        return names;
    }

    void add(const ColumnBatch& batch) {
        for (std::size_t row = 0; row < batch.numRows(); ++row) {
            addRow(batch, row);
        }
    }

    Stats& finish() {
        // A blink still running at the end ends with the recording.
        _stats.by_flag.finish(_stats.lid_last);
        _stats.by_closure.finish(_stats.lid_last);
        return _stats;
    }

private:
    // The order of the named columns in the batch.
    enum {
        FRAME,
        TIME,
        DELAY,
        RIGHT_LID,
        LEFT_LID,
        BLINKING,
        RIGHT_PITCH,
        RIGHT_YAW,
        RIGHT_QUALITY,
        LEFT_PITCH,
        LEFT_YAW,
        LEFT_QUALITY,
        HEAD,
        ENGINE
    };
    static constexpr std::array<const char*, 14> NAMES = {"frame_num",
                                                          "time_s",
                                                          "timing_approx_delay",
                                                          "eyelid_right_closure",
                                                          "eyelid_left_closure",
                                                          "blinking",
                                                          "gaze_right_pitch_rad",
                                                          "gaze_right_yaw_rad",
                                                          "gaze_right_quality",
                                                          "gaze_left_pitch_rad",
                                                          "gaze_left_yaw_rad",
                                                          "gaze_left_quality",
                                                          "head_tracking",
                                                          "engine_state"};

    void addRow(const ColumnBatch& batch, std::size_t row) {
        Stats& s = _stats;
        std::uint32_t number = 0;
        value(batch, FRAME, row, number);
        s.first_frame = s.frames == 0 ? number : s.first_frame;
        s.last_frame = number;
        ++s.frames;
        double time = 0;
        const bool timed = value(batch, TIME, row, time) && std::isfinite(time);
        if (timed) {
            s.first_time = s.timed ? std::min(s.first_time, time) : time;
            s.last_time = s.timed ? std::max(s.last_time, time) : time;
            s.timed = true;
        }
        for (KindTrack& kind : s.kinds) {
            bool held = false;
            for (int column : kind.columns) {
                held = held || batch.column(static_cast<std::size_t>(column)).valid(row);
            }
            if (!held) {
                continue;
            }
            if (kind.frames > 0 && number > kind.last_frame) {
                kind.numbers->add(number - kind.last_frame);
            }
            kind.last_frame = number;
            ++kind.frames;
            if (timed) {
                if (kind.timed && time > kind.last_time) {
                    kind.times->add(time - kind.last_time);
                }
                kind.timed = true;
                kind.last_time = time;
            }
        }
        float delay = 0;
        if (value(batch, DELAY, row, delay) && delay >= 0 && std::isfinite(delay)) {
            s.delays.add(delay);
        }
        if (timed) {
            addLids(batch, row, time);
            addGaze(batch, row, time);
        }
        bool tracking = false;
        if (value(batch, HEAD, row, tracking)) {
            ++s.head_frames;
            s.head_tracked += tracking ? 1 : 0;
        }
        std::int32_t state = 0;
        if (value(batch, ENGINE, row, state)) {
            ++s.engine_frames;
            s.engine_running += state == 1 ? 1 : 0;
        }
    }

    void addLids(const ColumnBatch& batch, std::size_t row, double time) {
        Stats& s = _stats;
        bool blinking = false;
        if (!value(batch, BLINKING, row, blinking)) {
            return;  // no eyelid record
        }
        s.lid_first = s.lid_frames == 0 ? time : s.lid_first;
        s.lid_last = time;
        ++s.lid_frames;
        float right = 0;
        float left = 0;
        const bool has_right = value(batch, RIGHT_LID, row, right);
        const bool has_left = value(batch, LEFT_LID, row, left);
        const double closure = has_right && has_left ? (right + left) / 2.0
                               : has_right           ? right
                                                     : left;
        s.flag_seen = s.flag_seen || blinking;
        s.by_flag.add(blinking, time);
        s.by_closure.add((has_right || has_left) && closure >= CLOSED, time);
        const double index = std::floor((time - s.first_time) / _options.window);
        if (!std::isfinite(index) || std::fabs(index) > 1e15) {
            return;
        }
        const auto key = static_cast<std::int64_t>(index);
        if (s.windows.size() >= MAX_WINDOWS && s.windows.find(key) == s.windows.end()) {
            throw ToolError("more than " + std::to_string(MAX_WINDOWS) +
                            " PERCLOS windows: choose a longer --window");
        }
        Window& window = s.windows[key];
        ++window.frames;
        window.closed += closure >= CLOSED ? 1 : 0;
    }

    // The speed between this gaze frame and the last is the mean of the eyes' angular speeds,
    // of the eyes that both frames hold.
    void addGaze(const ColumnBatch& batch, std::size_t row, double time) {
        Stats& s = _stats;
        Gaze gaze;
        const int columns[2][3] = {{RIGHT_PITCH, RIGHT_YAW, RIGHT_QUALITY},
                                   {LEFT_PITCH, LEFT_YAW, LEFT_QUALITY}};
        for (int eye = 0; eye < 2; ++eye) {
            float pitch = 0;
            float yaw = 0;
            std::int32_t quality = 0;  // 0: the eye is not tracked
            gaze.has[eye] = value(batch, columns[eye][0], row, pitch) &&
                            value(batch, columns[eye][1], row, yaw) &&
                            value(batch, columns[eye][2], row, quality) && quality > 0 &&
                            std::isfinite(pitch) && std::isfinite(yaw);
            gaze.pitch[eye] = pitch;
            gaze.yaw[eye] = yaw;
        }
        if (!gaze.has[0] && !gaze.has[1]) {
            return;
        }
        const double dt = time - s.gaze_time;
        double sum = 0;
        int eyes = 0;
        for (int eye = 0; eye < 2; ++eye) {
            if (s.gaze_started && gaze.has[eye] && s.gaze.has[eye]) {
                sum += std::hypot(gaze.pitch[eye] - s.gaze.pitch[eye],
                                  gaze.yaw[eye] - s.gaze.yaw[eye]);
                ++eyes;
            }
        }
        if (eyes > 0 && dt > 0) {
            const double speed = sum / eyes * DEGREES / dt;
            const int state = speed > _options.saccade_threshold ? 1 : 0;
            if (state != s.state) {
                ++s.movement[state].count;
            }
            s.movement[state].seconds += dt;
            s.state = state;
        }
        s.gaze_started = true;
        s.gaze_time = time;
        s.gaze = gaze;
    }

    const StatsOptions& _options;
    Stats _stats;
};

std::string percent(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? "-"
                      : fixed(100.0 * static_cast<double>(part) / static_cast<double>(whole), 1);
}

struct KindResult {
    std::string name;
    std::uint64_t frames = 0;
    double rate = 0;  // 0: fewer than two timed frames
    std::uint64_t time_gaps = 0;
    double missing_time = 0;
    std::uint64_t frame_gaps = 0;
    std::uint64_t missing_frames = 0;
};

KindResult kindResult(const KindTrack& kind) {
    KindResult result;
    result.name = kindName(kind.id);
    result.frames = kind.frames;
    if (kind.times->count() > 0) {
        const double median = kind.times->quantile(0.5);
        const auto [gaps, sum] = kind.times->above(GAP_FACTOR * median);
        result.rate = 1.0 / median;
        result.time_gaps = gaps;
        result.missing_time = sum - static_cast<double>(gaps) * median;
    }
    if (kind.numbers->count() > 0) {
        const double median = kind.numbers->quantile(0.5);
        const auto [gaps, sum] = kind.numbers->above(GAP_FACTOR * median);
        result.frame_gaps = gaps;
        result.missing_frames = static_cast<std::uint64_t>(std::llround(sum / median)) - gaps;
    }
    return result;
}

std::string number(double value, int decimals) {
    return std::isfinite(value) ? fixed(value, decimals) : "null";
}

void writeLidsText(const Stats& s, const StatsOptions& options) {
    if (s.lid_frames == 0) {
        std::cout << "blinks: no eyelid records\n";
        return;
    }
    const double minutes = (s.lid_last - s.lid_first) / 60;
    const Runs& blinks = s.blinks();
    std::cout << "blinks: " << blinks.count << ", mean " << fixed(blinks.mean() * 1000, 1)
              << " ms, "
              << (minutes > 0 ? fixed(static_cast<double>(blinks.count) / minutes, 1)
                              : std::string("-"))
              << " per minute"
              << (s.flag_seen ? " (by the blinking flag)"
                              : " (by eyelid closure: no frame sets the blinking flag)")
              << '\n';
    std::cout << "PERCLOS (eyelids at least 80 % closed) per " << fixed(options.window, 3)
              << " s window:\n";
    Table windows({"from s", "to s", "frames", "PERCLOS %"});
    for (const auto& [index, window] : s.windows) {
        const double from = s.first_time + static_cast<double>(index) * options.window;
        windows.add({fixed(from, 3), fixed(from + options.window, 3), std::to_string(window.frames),
                     percent(window.closed, window.frames)});
    }
    windows.write(std::cout, 2);
}

void writeKindsText(const Stats& s) {
    Table kinds({"kind", "frames", "rate/s", "gaps in time", "missing s", "gaps in frames",
                 "missing frames"});
    for (const KindTrack& track : s.kinds) {
        if (track.frames == 0) {
            continue;
        }
        const KindResult k = kindResult(track);
        kinds.add({k.name, std::to_string(k.frames), k.rate > 0 ? fixed(k.rate, 1) : "-",
                   std::to_string(k.time_gaps), fixed(k.missing_time, 3),
                   std::to_string(k.frame_gaps), std::to_string(k.missing_frames)});
    }
    kinds.write(std::cout);
}

void writeText(const Stats& s, const StatsOptions& options) {
    std::cout << "frames: " << s.frames;
    if (s.frames > 0) {
        std::cout << ", numbers " << s.first_frame << " to " << s.last_frame;
    }
    if (s.timed) {
        std::cout << ", time_s " << fixed(s.first_time, 3) << " to " << fixed(s.last_time, 3)
                  << " (" << fixed(s.last_time - s.first_time, 3) << " s)";
    }
    std::cout << '\n';
    writeKindsText(s);
    if (s.delays.count() > 0) {
        std::cout << "delay: p50 " << fixed(s.delays.quantile(0.5) * 1000, 1) << " ms, p99 "
                  << fixed(s.delays.quantile(0.99) * 1000, 1) << " ms, max "
                  << fixed(s.delays.max() * 1000, 1) << " ms\n";
    } else {
        std::cout << "delay: no timing records\n";
    }
    writeLidsText(s, options);
    const double moving = s.movement[0].seconds + s.movement[1].seconds;
    if (moving <= 0) {
        std::cout << "fixations and saccades: no gaze records\n";
    } else {
        const char* names[2] = {"fixations", "saccades"};
        for (int state = 0; state < 2; ++state) {
            const Runs& runs = s.movement[state];
            std::cout << names[state] << ": " << runs.count << ", mean "
                      << fixed(runs.mean() * 1000, 1) << " ms, "
                      << fixed(100 * runs.seconds / moving, 1) << " % of the time\n";
        }
    }
    std::cout << "tracking: "
              << (s.head_frames == 0
                      ? std::string("no head records")
                      : "head " + percent(s.head_tracked, s.head_frames) + " % of " +
                            std::to_string(s.head_frames) + " frames with a head record")
              << "; "
              << (s.engine_frames == 0
                      ? std::string("no engine states")
                      : "engine running " + percent(s.engine_running, s.engine_frames) + " % of " +
                            std::to_string(s.engine_frames) + " frames with an engine state")
              << '\n';
}

void writeKindsJson(std::ostream& out, const Stats& s) {
    bool first = true;
    for (const KindTrack& track : s.kinds) {
        if (track.frames == 0) {
            continue;
        }
        const KindResult k = kindResult(track);
        out << (first ? "" : ",") << "{\"kind\":\"" << k.name << "\",\"frames\":" << k.frames
            << ",\"rate_hz\":" << (k.rate > 0 ? number(k.rate, 3) : "null")
            << ",\"gaps_in_time\":" << k.time_gaps << ",\"missing_s\":" << number(k.missing_time, 6)
            << ",\"gaps_in_frames\":" << k.frame_gaps << ",\"missing_frames\":" << k.missing_frames
            << "}";
        first = false;
    }
}

void writeJson(const Stats& s, const StatsOptions& options) {
    std::ostringstream out;
    out << "{\"frames\":" << s.frames << ",\"first_frame\":" << s.first_frame
        << ",\"last_frame\":" << s.last_frame
        << ",\"duration_s\":" << (s.timed ? number(s.last_time - s.first_time, 6) : "null")
        << ",\"kinds\":[";
    writeKindsJson(out, s);
    out << "],\"delay_ms\":";
    if (s.delays.count() > 0) {
        out << "{\"p50\":" << number(s.delays.quantile(0.5) * 1000, 3)
            << ",\"p99\":" << number(s.delays.quantile(0.99) * 1000, 3)
            << ",\"max\":" << number(s.delays.max() * 1000, 3) << "}";
    } else {
        out << "null";
    }
    const double minutes = (s.lid_last - s.lid_first) / 60;
    const Runs& blinks = s.blinks();
    out << ",\"blinks\":{\"count\":" << blinks.count
        << ",\"mean_ms\":" << number(blinks.mean() * 1000, 3) << ",\"per_minute\":"
        << (minutes > 0 ? number(static_cast<double>(blinks.count) / minutes, 3) : "null")
        << ",\"by\":\"" << s.blinkSource() << "\"},\"perclos\":[";
    bool first = true;
    for (const auto& [index, window] : s.windows) {
        const double from = s.first_time + static_cast<double>(index) * options.window;
        out << (first ? "" : ",") << "{\"from_s\":" << number(from, 6)
            << ",\"frames\":" << window.frames << ",\"perclos\":"
            << number(static_cast<double>(window.closed) / static_cast<double>(window.frames), 6)
            << "}";
        first = false;
    }
    out << "]";
    const double moving = s.movement[0].seconds + s.movement[1].seconds;
    const char* names[2] = {"fixations", "saccades"};
    for (int state = 0; state < 2; ++state) {
        const Runs& runs = s.movement[state];
        out << ",\"" << names[state] << "\":{\"count\":" << runs.count
            << ",\"mean_ms\":" << number(runs.mean() * 1000, 3)
            << ",\"share\":" << (moving > 0 ? number(runs.seconds / moving, 6) : "null") << "}";
    }
    auto share = [](std::uint64_t part, std::uint64_t whole) {
        return whole == 0 ? std::string("null")
                          : number(static_cast<double>(part) / static_cast<double>(whole), 6);
    };
    out << ",\"head_tracking_share\":" << share(s.head_tracked, s.head_frames)
        << ",\"engine_running_share\":" << share(s.engine_running, s.engine_frames) << "}\n";
    std::cout << out.str();
}

int stats(const StatsOptions& options) {
    const Selection selection = options.select.selection();
    if (!(options.window > 0) || !std::isfinite(options.window)) {
        throw UsageError("--window must be a positive number of seconds");
    }
    if (!(options.saccade_threshold > 0) || !std::isfinite(options.saccade_threshold)) {
        throw UsageError("--saccade-threshold must be a positive number of degrees per second");
    }
    ColumnReaderOptions read = columnOptions(options.path, selection, 4096);
    // The kinds and frames from a first pass of views; of a damaged recording, those before the
    // damage, and the read below fails as the scan did, after those frames.
    vq::eod::io::RecordingSummary summary;
    try {
        summary = vq::eod::io::scanRecording(options.path, read);
    } catch (const vq::eod::EODError&) {
        summary = framesBeforeDamage(options.path, selection);
    }
    Collector collector(options, summary.kinds);
    read.columns = collector.columns();
    ColumnReader reader(options.path, read);
    ColumnBatch batch;
    std::string failure;
    ProgressBar progress("stats", summary.frames);
    for (;;) {
        try {
            if (!reader.next(batch)) {
                break;
            }
        } catch (const vq::eod::EODError& error) {
            failure = error.what();
        }
        collector.add(batch);
        progress.update(reader.framesTaken());
        if (!failure.empty()) {
            break;
        }
    }
    progress.finish();
    const Stats& result = collector.finish();
    if (options.format == "json") {
        writeJson(result, options);
    } else {
        writeText(result, options);
    }
    if (!failure.empty()) {
        throw ToolError(displayName(options.path) + ": " + failure + "; the statistics cover the " +
                        std::to_string(reader.framesTaken()) +
                        " frames before it; `vqlog recover` copies every intact frame into a new "
                        "recording");
    }
    return 0;
}

}  // namespace

Command addStats(CLI::App& app) {
    auto options = std::make_shared<StatsOptions>();
    CLI::App* command = app.add_subcommand(
        "stats",
        "What a recording tells an analyst, read in one pass (memory bounded whatever its "
        "length):\n"
        "  kinds: per record kind the frames holding it, its rate (1 / the median interval of "
        "time_s between frames holding it), gaps in time (intervals above 1.5 x that median; "
        "missing s: their excess over the median) and in frame numbers (likewise; missing "
        "frames: the frames the median spacing puts in them)\n"
        "  delay: timing_approx_delay's p50, p99 (nearest rank, within 1 %) and max, in ms\n"
        "  blinks: runs of eyelid frames whose blinking flag is true, or, in a recording where no "
        "frame sets that flag, whose closure (the mean of both eyes', or the one given) is at "
        "least 0.8 (the report says which); a blink lasts from its first frame's time_s to that "
        "of the next eyelid frame not blinking (to the last eyelid frame at the end); rate per "
        "minute of the time the eyelid records span\n"
        "  PERCLOS: per window of --window seconds from the first frame's time_s, the share of "
        "eyelid frames whose closure (the mean of both eyes', or the one given) is at least 0.8\n"
        "  fixations and saccades: between consecutive frames holding a gaze, the speed "
        "hypot(d pitch, d yaw) / d time_s in degrees per second, the mean of both eyes' (of the "
        "eyes both frames track, gaze quality above 0; none in common: no interval); above "
        "--saccade-threshold the interval is saccadic, else fixating; a fixation or saccade is a "
        "run of such intervals; share: of the time of all intervals\n"
        "  tracking: the share of frames with a head record whose head_tracking is true, and of "
        "frames with an engine state whose engine_state is 1 (running)");
    command->add_option("path", options->path, "A recording directory or a log file")->required();
    command->add_option("--format", options->format, "text (aligned) or json (one object)")
        ->check(CLI::IsMember({"text", "json"}));
    command->add_option("--window", options->window, "PERCLOS window in seconds (default 60)");
    command->add_option("--saccade-threshold", options->saccade_threshold,
                        "Gaze speed in degrees per second above which an interval is a saccade "
                        "(default 30)");
    options->select.addTo(*command, true);
    return [options] { return stats(*options); };
}

}  // namespace vqlog
