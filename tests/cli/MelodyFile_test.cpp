#include "files/MelodyFile.h"

#include <gtest/gtest.h>

#include "Errors.h"

namespace mlh::cli {

namespace {

TEST(MelodyTable, RowsAreReadInOrderOfTime) {
    const Melody melody = ParseMelodyTable("onset duration pitch\n2 1 64 G\n0\t4\t60\n", "table");
    ASSERT_EQ(melody.notes.size(), 2u);
    EXPECT_EQ(melody.notes[0].pitch, 60);
    EXPECT_EQ(melody.notes[0].length, 2.0);  // ends where the next one starts
    EXPECT_EQ(melody.notes[1].chord.root, 7);
}

// A picture of empty bars took for ever, a score the whole disk, and a MIDI file the command down.
TEST(MelodyTable, TimesThatAreNoMelodysAreRefused) {
    EXPECT_EQ(ParseMelodyTable("0 1 60\n99999 1 62\n", "table").notes.size(), 2u);
    for (const char* row : {"99999.5 1 62", "4 1e300 62", "1e300 1 62", "1e9 1 62"}) {
        EXPECT_THROW(ParseMelodyTable(std::string("0 1 60\n") + row, "table"), Failure) << row;
    }
    for (const char* row : {"-1 1 62", "4 0 62", "4 -1 62", "4 1 -1", "4 1 128", "4 1 60.5", "nan 1 62",
                            "4 inf 62", "4 1", "x 1 62"}) {
        EXPECT_THROW(ParseMelodyTable(std::string("0 1 60\n") + row, "table"), UsageError) << row;
    }
}

}  // namespace

}  // namespace mlh::cli
