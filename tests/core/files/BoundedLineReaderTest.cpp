#include "core/files/BoundedLineReader.h"

#include "core/files/FileDescriptor.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace velquor {
namespace {

using Lines = std::vector<std::string>;

class BoundedLineReaderTest : public ::testing::Test {
protected:
    void SetUp() override {
        int ends[2];
        ASSERT_EQ(::pipe2(ends, O_NONBLOCK | O_CLOEXEC), 0);
        m_read = FileDescriptor(ends[0]);
        m_write = FileDescriptor(ends[1]);
    }

    void put(const std::string& bytes) const {
        ASSERT_EQ(::write(m_write.get(), bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }

    FileDescriptor m_read;
    FileDescriptor m_write;
};

TEST_F(BoundedLineReaderTest, JoinsLinesAcrossReadsCutsLongOnesAndGivesTheRestAtTheEnd) {
    BoundedLineReader reader(m_read.get());
    EXPECT_EQ(reader.read(), Lines{});
    put("ab");
    EXPECT_EQ(reader.read(), Lines{});
    put("c\nde");
    EXPECT_EQ(reader.read(), Lines{"abc"});
    put("f\n\n");
    EXPECT_EQ(reader.read(), (Lines{"def", ""}));

    const std::string longLine(BoundedLineReader::maxLineLength * 2 + 10, 'x');
    put(longLine + "\n");
    EXPECT_EQ(reader.read(), (Lines{longLine.substr(0, 4096), longLine.substr(4096, 4096),
                                    longLine.substr(8192)}));

    // Its line end in a later read than a piece that filled the limit.
    put(std::string(BoundedLineReader::maxLineLength, 'z'));
    EXPECT_EQ(reader.read(), Lines{std::string(4096, 'z')});
    put("\nnext\n");
    EXPECT_EQ(reader.read(), Lines{"next"});

    put("tail");
    m_write.close();
    EXPECT_EQ(reader.read(), Lines{"tail"});
    EXPECT_TRUE(reader.ended());
}

// A writer that never ends a line: each read hands on bounded pieces, and at most a bounded
// amount, however much is waiting.
TEST_F(BoundedLineReaderTest, AnEndlessWriterIsReadInBoundedPieces) {
    BoundedLineReader reader(m_read.get());
    ASSERT_GE(::fcntl(m_write.get(), F_SETPIPE_SZ, 256 * 1024), 200000);
    std::size_t pieces = 0;
    for (int round = 0; round < 10; ++round) {
        for (int part = 0; part < 4; ++part) {
            put(std::string(50000, 'y'));
        }
        auto lines = reader.read();
        EXPECT_EQ(lines.size(), BoundedLineReader::maxReadPerCall / 4096);
        for (; !lines.empty(); lines = reader.read()) {
            pieces += lines.size();
            for (const auto& line : lines) {
                EXPECT_EQ(line.size(), BoundedLineReader::maxLineLength);
            }
        }
    }
    EXPECT_EQ(pieces, 10 * 200000 / BoundedLineReader::maxLineLength);
}

} // namespace
} // namespace velquor
