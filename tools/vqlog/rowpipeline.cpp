#include "vqlog/rowpipeline.h"

#include <thread>

namespace vqlog {

RowPipeline::RowPipeline(std::size_t chunk_rows, std::size_t threads)
    : _chunk_rows(std::max<std::size_t>(chunk_rows, 1)),
      _threads(std::max<std::size_t>(threads, 1)) {}

void RowPipeline::post(std::size_t slot, std::size_t rows) {
    const std::size_t chunks = (rows + _chunk_rows - 1) / _chunk_rows;
    if (_texts[slot].size() < chunks) {
        _texts[slot].resize(chunks);  // before the job is seen: no thread touches the slot now
    }
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _jobs[slot] = Job{true, _next_order++, rows, chunks, 0, 0};
    }
    _posted.notify_one();
}

bool RowPipeline::take(std::size_t& slot, std::size_t& chunk) {
    bool found = false;
    for (std::size_t s = 0; s < SLOTS; ++s) {
        const Job& job = _jobs[s];
        if (job.active && job.taken < job.chunks && (!found || job.order < _jobs[slot].order)) {
            slot = s;
            found = true;
        }
    }
    if (found) {
        chunk = _jobs[slot].taken++;
    }
    return found;
}

void RowPipeline::format(std::size_t thread, std::size_t slot, std::size_t chunk) {
    const std::size_t first = chunk * _chunk_rows;
    const std::size_t end = std::min(first + _chunk_rows, _jobs[slot].rows);
    TextBuffer& text = _texts[slot][chunk];
    text.clear();
    _steps->format(thread, slot, first, end, text);
}

void RowPipeline::work() {
    std::unique_lock<std::mutex> lock(_mutex);
    for (;;) {
        std::size_t slot = 0;
        std::size_t chunk = 0;
        if (_stop) {
            return;
        }
        if (!take(slot, chunk)) {
            _posted.wait(lock);
            continue;
        }
        lock.unlock();
        try {
            format(1, slot, chunk);
        } catch (...) {
            lock.lock();
            _error = std::current_exception();
            _finished.notify_all();
            return;
        }
        lock.lock();
        ++_jobs[slot].done;
        _finished.notify_all();
    }
}

void RowPipeline::run(const Steps& steps) {
    _steps = &steps;
    _jobs = {};
    _stop = false;
    _error = nullptr;

    // Stops and joins the worker however run() ends.
    struct Worker {
        RowPipeline& pipeline;
        std::thread thread;
        ~Worker() {
            if (thread.joinable()) {
                {
                    std::lock_guard<std::mutex> lock(pipeline._mutex);
                    pipeline._stop = true;
                }
                pipeline._posted.notify_all();
                thread.join();
            }
        }
    } worker{*this, {}};
    if (_threads > 1) {
        worker.thread = std::thread([this] { work(); });
    }

    bool last = false;
    std::size_t slot = 0;
    post(slot, steps.read(slot, last));
    for (;;) {
        const std::size_t next = (slot + 1) % SLOTS;
        if (!last) {
            post(next, steps.read(next, last));  // while the worker formats `slot`
        }
        {
            std::unique_lock<std::mutex> lock(_mutex);
            while (_jobs[slot].done < _jobs[slot].chunks) {
                if (_error) {
                    std::rethrow_exception(_error);
                }
                std::size_t s = 0;
                std::size_t chunk = 0;
                if (take(s, chunk)) {
                    lock.unlock();
                    format(0, s, chunk);
                    lock.lock();
                    ++_jobs[s].done;
                } else {
                    _finished.wait(lock);
                }
            }
            _jobs[slot].active = false;
        }
        if (!steps.write(slot, _texts[slot].data(), _jobs[slot].chunks)) {
            return;
        }
        std::lock_guard<std::mutex> lock(_mutex);
        if (!_jobs[next].active) {
            return;
        }
        slot = next;
    }
}

}  // namespace vqlog
