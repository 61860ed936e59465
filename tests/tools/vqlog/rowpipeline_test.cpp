// RowPipeline: the text of every row in the order of the rows, whatever the threads, the chunks
// and the batches; a failed write or a step's exception ends it.
#include "vqlog/rowpipeline.h"

#include <array>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vqtest {
namespace {

struct PipelineCase {
    const char* what;
    std::vector<std::size_t> batches;  // rows of each batch read, in order
    std::size_t chunk_rows;
    std::size_t threads;
    int failing_write = -1;               // the batch whose write returns false
    std::size_t throwing_row = SIZE_MAX;  // format throws on this row
    bool throwing_read = false;           // the last read throws instead
    std::string error = {};               // what run() raises
};

TEST(VqlogRowPipeline, RowsInOrderAndFailures) {
    const std::vector<PipelineCase> cases{
        {"one thread", {700, 1000, 3}, 64, 1},
        {"two threads", {700, 1000, 3, 513, 512}, 64, 2},
        {"one chunk per batch", {10, 10, 10}, 1000, 2},
        {"a row per chunk", {50, 49}, 1, 2},
        {"the last read gives no rows", {300, 0}, 16, 2},
        {"nothing to read", {0}, 16, 2},
        {"a failed write stops the reads", {100, 100, 100, 100, 100}, 16, 2, 1},
        {"format throws", {100, 100, 100}, 16, 2, -1, 150, false, "row 150"},
        {"a read throws", {100, 100, 100}, 16, 2, -1, SIZE_MAX, true, "read 2"},
    };
    for (const PipelineCase& c : cases) {
        std::array<std::vector<std::size_t>, vqlog::RowPipeline::SLOTS> slots;
        std::size_t reads = 0;
        std::size_t next_row = 0;
        std::string written;
        int writes = 0;
        vqlog::RowPipeline::Steps steps;
        steps.read = [&](std::size_t slot, bool& last) {
            if (c.throwing_read && reads + 1 == c.batches.size()) {
                throw std::runtime_error("read " + std::to_string(reads));
            }
            const std::size_t rows = c.batches[reads++];
            last = reads == c.batches.size();
            slots[slot].clear();
            for (std::size_t i = 0; i < rows; ++i) {
                slots[slot].push_back(next_row++);
            }
            return rows;
        };
        steps.format = [&](std::size_t thread, std::size_t slot, std::size_t first, std::size_t end,
                           vqlog::TextBuffer& text) {
            ASSERT_LT(thread, c.threads);
            for (std::size_t i = first; i < end; ++i) {
                if (slots[slot][i] == c.throwing_row) {
                    throw std::runtime_error("row " + std::to_string(c.throwing_row));
                }
                text += std::to_string(slots[slot][i]) + "\n";
            }
        };
        steps.write = [&](std::size_t, const vqlog::TextBuffer* chunks, std::size_t count) {
            for (std::size_t i = 0; i < count; ++i) {
                written.append(chunks[i].data(), chunks[i].size());
            }
            return writes++ != c.failing_write;
        };
        vqlog::RowPipeline pipeline(c.chunk_rows, c.threads);
        std::string error;
        try {
            pipeline.run(steps);
        } catch (const std::runtime_error& e) {
            error = e.what();
        }
        EXPECT_EQ(error, c.error) << c.what;
        if (!c.error.empty()) {
            continue;
        }
        // Every row of the batches written, up to the failed write; one read ahead of it.
        const std::size_t batches_written =
            c.failing_write < 0 ? c.batches.size() : static_cast<std::size_t>(c.failing_write + 1);
        std::string expected;
        std::size_t row = 0;
        for (std::size_t b = 0; b < batches_written; ++b) {
            for (std::size_t i = 0; i < c.batches[b]; ++i) {
                expected += std::to_string(row++) + "\n";
            }
        }
        EXPECT_EQ(written, expected) << c.what;
        EXPECT_EQ(reads, std::min(c.batches.size(), batches_written + 1)) << c.what;
    }
}

}  // namespace
}  // namespace vqtest
