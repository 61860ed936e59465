// RowPipeline: turns batches of rows into text on two threads and writes the text in the order
// of the rows, for vqlog export.
//
// The calling thread reads batches, each into one of SLOTS slots, and writes their text; the
// rows of a batch are formatted in chunks of `chunk_rows` rows, each into its own TextBuffer, by
// whichever thread takes the chunk first. While the calling thread reads batch k + 1, the other
// thread formats the chunks of batch k; the calling thread then takes what is left of them (and
// of batch k + 1), and writes batch k's chunks in order once all are done. So the text is the
// same, byte for byte, whatever the number of threads and however the chunks fall to them.
//
// Memory: SLOTS batches (the caller's) and the text of SLOTS batches.
//
// Errors: an exception from read, format or write ends run() and passes on, the other thread
// stopped and joined first; a write that returns false ends run() without another read.
#pragma once

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <functional>
#include <mutex>
#include <string_view>
#include <vector>

namespace vqlog {

// A growing text that the formatter writes into in place: room() makes room for a number of
// characters, end() points behind the text, advance() takes what was written there.
class TextBuffer {
public:
    void room(std::size_t bytes) {
        if (_bytes.size() - _used < bytes) {
            _bytes.resize(std::max(2 * _bytes.size(), _used + bytes + (1 << 16)));
        }
    }
    char* end() { return _bytes.data() + _used; }
    void advance(char* to) { _used = static_cast<std::size_t>(to - _bytes.data()); }
    TextBuffer& operator+=(char c) {
        room(1);
        _bytes[_used++] = c;
        return *this;
    }
    TextBuffer& operator+=(std::string_view text) {
        if (text.empty()) {
            return *this;  // no copy from or to a null pointer
        }
        room(text.size());
        std::memcpy(end(), text.data(), text.size());
        _used += text.size();
        return *this;
    }
    const char* data() const { return _bytes.data(); }
    std::size_t size() const { return _used; }
    void clear() { _used = 0; }

private:
    std::vector<char> _bytes;
    std::size_t _used = 0;
};

class RowPipeline {
public:
    static constexpr std::size_t SLOTS = 2;

    struct Steps {
        // Fills slot `slot` with the next batch (calling thread) and returns its number of rows;
        // sets `last` when no batch follows (the rows returned, if any, are still formatted and
        // written).
        std::function<std::size_t(std::size_t slot, bool& last)> read;
        // Appends the text of rows [first, end) of slot `slot` to `text`. Called from both threads
        // at once for different chunks; `thread` (0 the calling thread, 1 the other) lets each
        // keep its own scratch state.
        std::function<void(std::size_t thread, std::size_t slot, std::size_t first, std::size_t end,
                           TextBuffer& text)>
            format;
        // Writes the text of slot `slot`, `count` chunks in the order of the rows (calling
        // thread); false stops the pipeline.
        std::function<bool(std::size_t slot, const TextBuffer* chunks, std::size_t count)> write;
    };

    // `threads`: 1 formats on the calling thread alone, 2 (or more) also on a second one.
    RowPipeline(std::size_t chunk_rows, std::size_t threads);

    // Reads, formats and writes until a read sets `last` or a write returns false.
    void run(const Steps& steps);

private:
    struct Job {
        bool active = false;
        std::uint64_t order = 0;  // the batch's place in the read
        std::size_t rows = 0;
        std::size_t chunks = 0;
        std::size_t taken = 0;  // chunks handed to a thread
        std::size_t done = 0;   // chunks formatted
    };

    void post(std::size_t slot, std::size_t rows);
    // Under the lock: the first chunk not yet taken, the oldest batch's first.
    bool take(std::size_t& slot, std::size_t& chunk);
    void format(std::size_t thread, std::size_t slot, std::size_t chunk);
    void work();

    std::size_t _chunk_rows;
    std::size_t _threads;
    const Steps* _steps = nullptr;
    std::mutex _mutex;
    std::condition_variable _posted;    // a job posted, or the pipeline stopped
    std::condition_variable _finished;  // a chunk done, or the worker failed
    std::array<Job, SLOTS> _jobs;
    std::array<std::vector<TextBuffer>, SLOTS> _texts;
    std::uint64_t _next_order = 0;
    bool _stop = false;
    std::exception_ptr _error;  // what the worker thread raised
};

}  // namespace vqlog
