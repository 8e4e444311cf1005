#include "choir/voicing/Ranges.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace mlh::choir {

namespace {

constexpr PitchRange kPeople = {40, 84};  // E2 to C6
// Semitones from the quarter and three-quarter points of the lead's notes. Further down the grains thin out,
// further up they sound like a toy.
constexpr int kCarriesUp = 12;
constexpr int kCarriesDown = 16;
constexpr int kLeastWidth = 12;
constexpr int kRoomOfOne =
    4;  // semitones that a voice needs between the lead and the end of what people sing
constexpr int kRoomOfTwo = 12;  // the same for two and more

std::string LowerCase(const std::string& text) {
    std::string lower;
    for (const char c : text) {
        lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return lower;
}

// "F#3", "Bb2" or "57"; -1 for anything else.
int ReadNote(const std::string& text) {
    if (text.empty()) {
        return -1;
    }
    std::size_t at = 0;
    int note = 0;
    if (std::isalpha(static_cast<unsigned char>(text[0]))) {
        constexpr int kWhiteKeys[] = {9, 11, 0, 2, 4, 5, 7};  // A to G
        const int letter = std::tolower(static_cast<unsigned char>(text[0])) - 'a';
        if (letter < 0 || letter > 6) {
            return -1;
        }
        note = kWhiteKeys[letter] + 12;
        for (at = 1; at < text.size() && (text[at] == '#' || text[at] == 'b'); ++at) {
            note += text[at] == '#' ? 1 : -1;
        }
    }
    char* end = nullptr;
    const long number = std::strtol(text.c_str() + at, &end, 10);
    if (end == text.c_str() + at || *end != '\0' || number < -1 || number > 127) {
        return -1;
    }
    const long midi = at > 0 ? note + 12 * number : number;
    return midi < 0 || midi > 127 ? -1 : static_cast<int>(midi);
}

}  // namespace

const std::vector<VoiceType>& VoiceTypes() {
    static const auto& types = *new std::vector<VoiceType>{
        {"soprano", {60, 81}}, {"mezzo", {57, 77}},    {"alto", {53, 74}},
        {"tenor", {48, 69}},   {"baritone", {43, 65}}, {"bass", {40, 62}},
    };
    return types;
}

std::optional<PitchRange> ReadRange(const std::string& text) {
    const std::string name = LowerCase(text);
    for (const VoiceType& type : VoiceTypes()) {
        if (name == type.name) {
            return type.range;
        }
    }
    const auto dash = text.find('-', 1);
    if (dash == std::string::npos) {
        return std::nullopt;
    }
    const PitchRange range = {ReadNote(text.substr(0, dash)), ReadNote(text.substr(dash + 1))};
    if (range.low < 0 || range.high <= range.low) {
        return std::nullopt;
    }
    return range;
}

Room RoomBeside(const std::vector<int>& leads) {
    if (leads.empty()) {
        return {kMaxHarmonyVoices, kMaxHarmonyVoices};
    }
    std::vector<int> sorted = leads;
    std::sort(sorted.begin(), sorted.end());
    const auto voices = [](int semitones) {
        return semitones < kRoomOfOne ? 0 : semitones < kRoomOfTwo ? 1 : kMaxHarmonyVoices;
    };
    return {voices(kPeople.high - sorted[sorted.size() * 3 / 4]),
            voices(sorted[sorted.size() / 4] - kPeople.low)};
}

PitchRange RangeBeside(const std::vector<int>& leads, bool above) {
    if (leads.empty()) {
        return kPeople;
    }
    std::vector<int> sorted = leads;
    std::sort(sorted.begin(), sorted.end());
    const int lowQuarter = sorted[sorted.size() / 4];
    const int highQuarter = sorted[sorted.size() * 3 / 4];
    PitchRange range = above ? PitchRange{lowQuarter, highQuarter + kCarriesUp}
                             : PitchRange{lowQuarter - kCarriesDown, highQuarter};
    range.low = std::clamp(range.low, kPeople.low, kPeople.high - kLeastWidth);
    range.high = std::clamp(range.high, range.low + kLeastWidth, kPeople.high);
    return range;
}

}  // namespace mlh::choir
