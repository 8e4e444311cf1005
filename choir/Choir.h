// A take and the voices that are made of it: the C++ face of the library.
//
//     Take take({samples, frames, channels, rate});
//     Choir choir(take, settings);
//     choir.Render(0, frames, nullptr, mix, 2);
//
// The steps from take to sound are functions of their own: tuning, chords, voicing, pitches, people,
// rendering, mixing. What they decided is there to be shown; rendering can be asked for again and again, for
// any stretch.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "choir/Settings.h"
#include "choir/Types.h"
#include "choir/melody/KeyFinder.h"
#include "choir/people/Humanize.h"
#include "choir/render/Renderer.h"
#include "choir/render/Singers.h"
#include "choir/score/Arrangement.h"
#include "choir/take/Take.h"
#include "choir/tuning/Tuning.h"

namespace mlh::choir {

class Choir {
  public:
    // Decides who sings what. The take must outlive the choir. Throws UsageError for settings out of range,
    // Failure when the take has nothing that this style needs, and what `progress` throws.
    Choir(Take& take, Settings settings, const ProgressCallback& progress = {});
    ~Choir();
    Choir(const Choir&) = delete;
    Choir& operator=(const Choir&) = delete;

    // Other settings. What does not depend on them, the analysis for the grains first of all, is kept. Throws
    // as the constructor does, and then nothing has changed, unless memory ran out.
    void Change(Settings settings, const ProgressCallback& progress = {});

    const Take& take() const { return take_; }
    const Settings& settings() const { return settings_; }

    // "F# minor", "D dorian"; empty for none. Its index: 0 to 11 major, 12 to 23 minor, -1 none.
    const std::string& keyName() const { return decided_.keyName; }
    int key() const { return decided_.key; }
    const std::vector<TimedChord>& chords() const { return decided_.chords; }
    const std::vector<Voice>& voices() const { return decided_.voices; }
    // Of style choir: the runner-up and how sure the key is, and the grid that the voices are on.
    const std::optional<KeyEstimate>& keyEstimate() const { return decided_.keyEstimate; }
    const std::optional<Tuning>& tuning() const { return decided_.tuning; }
    // Of the styles that set a melody in voices.
    const std::optional<Arrangement>& arrangement() const { return decided_.arrangement; }
    // The lead, with the pitch that the voices go by.
    const std::vector<SungNote>& lead() const;
    // Per line, the lead first.
    const std::vector<SideGains>& gains() const { return decided_.gains; }
    // What the user should know, a line each.
    const std::vector<std::string>& warnings() const { return decided_.warnings; }

    // For pictures and reports. The title is the caller's.
    Performance ToPerformance() const;

    // Renders `count` frames from `first` on; past the end there is silence. Null leaves something out.
    //   rows  channel c of line l (0 the dry lead, then the voices) goes to rows[l * channels + c], `count`
    //   samples
    //         each; single rows may be null
    //   mix   `mixChannels` (1 or 2) interleaved
    void Render(int64_t first, int64_t count, float* const* rows, float* mix, int32_t mixChannels,
                const ProgressCallback& progress = {});
    // The same, and the mix is kept within full scale where the settings ask for it by name (clip scale or
    // limit). For that the first call for so many channels renders the whole mix once to look at its peaks.
    void RenderKept(int64_t first, int64_t count, float* const* rows, float* mix, int32_t mixChannels,
                    const ProgressCallback& progress = {});

  private:
    // All that follows from take and settings.
    struct Decided {
        int key = -1;
        std::string keyName;
        std::optional<KeyEstimate> keyEstimate;
        std::optional<Tuning> tuning;
        std::vector<TimedChord> chords;
        std::vector<Voice> voices;
        std::vector<std::vector<NoteManner>> manners;  // per voice and note
        std::optional<Arrangement> arrangement;
        std::vector<SideGains> gains;
        bool preset = false;  // whose gains they are
        std::vector<std::string> warnings;
    };

    // Style choir, a step each.
    void DecideTuning(const Settings& settings, Decided& decided) const;
    void DecideKeyAndChords(const Settings& settings, Decided& decided) const;
    void DecideVoices(const Settings& settings, Decided& decided) const;
    void ApplyEdits(const Settings& settings, Decided& decided) const;
    void DecidePeople(const Settings& settings, Decided& decided) const;
    void TellSingers(const Settings& settings, const Decided& decided, const ProgressCallback& progress);
    void DecideMix(const Settings& settings, Decided& decided) const;

    std::unique_ptr<Singers> SingCore(const Settings& settings, Decided& decided,
                                      const ProgressCallback& progress) const;
    std::unique_ptr<Singers> SingTracks(const Settings& settings, Decided& decided,
                                        const ProgressCallback& progress) const;
    std::unique_ptr<Singers> SingArrangement(const Settings& settings, Decided& decided,
                                             const ProgressCallback& progress) const;
    void TakeLines(const std::vector<NoteLine>& lines, Decided& decided) const;
    std::size_t Rows() const {
        return (1 + voices().size()) * static_cast<std::size_t>(take_.audio().channels);
    }

    Take& take_;
    Settings settings_;
    Decided decided_;
    std::unique_ptr<Singers> singers_;              // of the other styles
    std::unique_ptr<Renderer> renderer_;            // of style choir
    std::vector<float> scratch_;                    // a block of every row
    std::vector<float*> block_;                     // where the rows are at the moment
    std::array<std::optional<FullScale>, 2> kept_;  // of the mix, by channels less 1, once it was looked at
};

}  // namespace mlh::choir
