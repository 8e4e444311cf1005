// One chord as people write it, read to its exact tones.
#pragma once

#include <string>
#include <string_view>

#include "choir/Errors.h"
#include "choir/chords/Chord.h"

namespace mlh::choir {

// Why a text was refused.
enum class ChordTextFault {
    Unreadable,  // no chord, or none where there must be one
    NeedsTempo,  // bars or beats without a tempo
    NeedsKey,    // a degree without a key
};

// what() is one line that says what to write; for a text of several lines it begins with source, line and
// column.
struct ChordTextError : UsageError {
    ChordTextError(const std::string& message, ChordTextFault why, int atLine, int atColumn)
        : UsageError(message), fault(why), line(atLine), column(atColumn) {}
    ChordTextFault fault;
    int line;    // from 1
    int column;  // from 1, in characters: where reading stopped
};

struct ReadSymbol {
    Chord chord;
    std::string remark;  // what the reader should know of the reading, like "H is read as B"; mostly empty
};

// Reads
//   lead-sheet symbols   Cm7, C△7, F♯m, B♭, C°7, Cø, C7(b9), Cm(maj7), C6/9, C7alt, Am/C, N.C.
//   labels               C:maj, A:min7, G:7/3, C:9(*5), D:(1,b3,5) (Harte and others, 2005)
//   note names           H (as B), Do Re Mi Fa Sol La Si (Do is C)
//   degrees              I, ii7, bVII, viio7, V7/V in `key`: 0 to 11 major, 12 to 23 minor, -1 none
// The name of the result is what sounds, spelled as it was written. Throws ChordTextError.
ReadSymbol ReadChordSymbol(std::string_view symbol, int key = -1);

}  // namespace mlh::choir
