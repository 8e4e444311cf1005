#include "picture/Picture.h"

#include <cairo-svg.h>
#include <cairo.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <numbers>
#include <utility>

#include "Errors.h"
#include "choir/score/Music.h"
#include "files/OutputFile.h"

namespace mlh::cli {

namespace {

struct Colour {
    double red, green, blue;
};

constexpr double kPi = std::numbers::pi;

constexpr Colour kPaper = {1.0, 1.0, 1.0};
constexpr Colour kBlackKeyLane = {0.955, 0.96, 0.97};
constexpr Colour kLine = {0.87, 0.88, 0.90};
constexpr Colour kOctaveLine = {0.72, 0.74, 0.78};
constexpr Colour kInk = {0.13, 0.15, 0.19};
constexpr Colour kFaintInk = {0.45, 0.48, 0.53};
constexpr Colour kCurve = {0.10, 0.12, 0.16};
constexpr Colour kPhrase = {0.48, 0.20, 0.52};
constexpr Colour kLead = {0.62, 0.65, 0.70};
// Distinguished by people with any kind of colour vision (after Okabe and Ito, 2008).
constexpr std::array<Colour, 4> kVoices = {Colour{0.90, 0.62, 0.0}, Colour{0.0, 0.45, 0.70},
                                           Colour{0.84, 0.37, 0.0}, Colour{0.0, 0.62, 0.45}};

constexpr double kTop = 92.0;        // [pixels] title, legend and chords
constexpr double kFunctions = 16.0;  // row of functions below them, where there are any
constexpr double kBottom = 40.0;     // time axis
constexpr double kKeys = 58.0;       // piano at the left
constexpr double kRight = 18.0;
constexpr double kLane = 11.0;  // height of a semitone
// A second is as wide as it takes to fill the usual width, within reason.
constexpr double kUsualWidth = 1500.0;
constexpr double kMinSecondWidth = 14.0;
constexpr double kMaxSecondWidth = 90.0;
constexpr double kMinWidth = 900.0;
constexpr double kMaxWidth = 24000.0;

struct DestroySurface {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
struct DestroyContext {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, DestroySurface>;
using Context = std::unique_ptr<cairo_t, DestroyContext>;

bool IsBlackKey(int note) {
    const int pc = ((note % 12) + 12) % 12;
    return pc == 1 || pc == 3 || pc == 6 || pc == 8 || pc == 10;
}

// Where things stand: seconds and notes to pixels.
class Layout {
  public:
    explicit Layout(const Performance& performance) : duration_(std::max(performance.duration, 0.1)) {
        double low = 1e9;
        double high = -1e9;
        const auto include = [&](const std::vector<TimedNote>& notes) {
            for (const TimedNote& note : notes) {
                low = std::min(low, note.pitch);
                high = std::max(high, note.pitch);
            }
        };
        include(performance.lead);
        for (const NoteLine& voice : performance.voices) {
            include(voice.notes);
        }
        if (low > high) {
            low = high = 60.0;
        }
        low = std::clamp(low, 0.0, 127.0);
        high = std::clamp(high, 0.0, 127.0);
        lowest_ = static_cast<int>(std::floor(low)) - 3;
        highest_ = static_cast<int>(std::ceil(high)) + 3;
        // At least an octave and a half, so that a lone note does not fill the page.
        while (highest_ - lowest_ < 18) {
            ++highest_;
            --lowest_;
        }
        const double perSecond = std::clamp(kUsualWidth / duration_, kMinSecondWidth, kMaxSecondWidth);
        width_ = std::clamp(kKeys + kRight + duration_ * perSecond, kMinWidth, kMaxWidth);
        top_ = performance.functions.empty() ? kTop : kTop + kFunctions;
    }

    double width() const { return width_; }
    double height() const { return top_ + kBottom + (highest_ - lowest_ + 1) * kLane; }
    int lowest() const { return lowest_; }
    int highest() const { return highest_; }
    double top() const { return top_; }
    double left() const { return kKeys; }
    double right() const { return width_ - kRight; }
    double bottom() const { return height() - kBottom; }
    double secondWidth() const { return (right() - left()) / duration_; }
    double x(double seconds) const { return left() + seconds * secondWidth(); }
    // The middle of a semitone's lane.
    double y(double pitch) const { return bottom() - (pitch - lowest_ + 0.5) * kLane; }

  private:
    double duration_;
    double width_;
    double top_;
    int lowest_;
    int highest_;
};

class Painter {
  public:
    Painter(cairo_t* cairo, const Performance& performance, const Layout& layout)
        : cairo_(cairo), performance_(performance), layout_(layout) {}

    void Paint() {
        SetColour(kPaper);
        cairo_paint(cairo_);
        PaintLanes();
        PaintTimeAxis();
        PaintPhrases();
        PaintChords();
        PaintFunctions();
        PaintNotes(performance_.lead, kLead, 0.55, kLane - 1.0);
        for (std::size_t v = performance_.voices.size(); v-- > 0;) {
            PaintNotes(performance_.voices[v].notes, kVoices[v % kVoices.size()], 0.85, kLane - 4.0);
        }
        PaintCurve();
        PaintKeyboard();
        PaintHeading();
    }

  private:
    void SetColour(const Colour& colour, double alpha = 1.0) {
        cairo_set_source_rgba(cairo_, colour.red, colour.green, colour.blue, alpha);
    }

    void Font(double size, bool bold = false) {
        cairo_select_font_face(cairo_, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                               bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(cairo_, size);
    }

    double TextWidth(const std::string& text) {
        cairo_text_extents_t extents;
        cairo_text_extents(cairo_, text.c_str(), &extents);
        return extents.x_advance;
    }

    void Text(double x, double y, const std::string& text) {
        cairo_move_to(cairo_, x, y);
        cairo_show_text(cairo_, text.c_str());
    }

    void Line(double x0, double y0, double x1, double y1, double width) {
        cairo_set_line_width(cairo_, width);
        cairo_move_to(cairo_, x0, y0);
        cairo_line_to(cairo_, x1, y1);
        cairo_stroke(cairo_);
    }

    void PhraseLine(double x, double y0, double y1) {
        const double dashes[] = {5.0, 4.0};
        cairo_save(cairo_);
        cairo_set_dash(cairo_, dashes, 2, 0.0);
        SetColour(kPhrase);
        Line(x, y0, x, y1, 1.4);
        cairo_restore(cairo_);
    }

    void RoundedBar(double x, double y, double width, double height) {
        const double radius = std::min(3.0, 0.5 * std::min(width, height));
        cairo_new_sub_path(cairo_);
        cairo_arc(cairo_, x + width - radius, y + radius, radius, -kPi / 2, 0.0);
        cairo_arc(cairo_, x + width - radius, y + height - radius, radius, 0.0, kPi / 2);
        cairo_arc(cairo_, x + radius, y + height - radius, radius, kPi / 2, kPi);
        cairo_arc(cairo_, x + radius, y + radius, radius, kPi, 1.5 * kPi);
        cairo_close_path(cairo_);
    }

    void PaintLanes() {
        for (int note = layout_.lowest(); note <= layout_.highest(); ++note) {
            const double top = layout_.y(note) - 0.5 * kLane;
            if (IsBlackKey(note)) {
                SetColour(kBlackKeyLane);
                cairo_rectangle(cairo_, layout_.left(), top, layout_.right() - layout_.left(), kLane);
                cairo_fill(cairo_);
            }
            const bool octave = note % 12 == 0;
            SetColour(octave ? kOctaveLine : kLine);
            Line(layout_.left(), top + kLane, layout_.right(), top + kLane, octave ? 0.9 : 0.5);
        }
    }

    void PaintTimeAxis() {
        // The least of 1, 2, 5, 10, 30 ... seconds that leaves room for the numbers.
        double step = 600.0;
        for (double candidate : {0.5, 1.0, 2.0, 5.0, 10.0, 30.0, 60.0, 120.0, 300.0}) {
            if (candidate * layout_.secondWidth() >= 55.0) {
                step = candidate;
                break;
            }
        }
        Font(11.0);
        for (int i = 0; i * step <= performance_.duration; ++i) {
            const double seconds = i * step;
            const double x = layout_.x(seconds);
            SetColour(kLine);
            Line(x, layout_.top(), x, layout_.bottom(), 0.8);
            SetColour(kFaintInk);
            Line(x, layout_.bottom(), x, layout_.bottom() + 5.0, 0.8);
            const std::string label = TimeLabel(seconds, step);
            Text(x - 0.5 * TextWidth(label), layout_.bottom() + 18.0, label);
        }
        SetColour(kFaintInk);
        Text(layout_.right() - TextWidth("time [min:s]"), layout_.bottom() + 33.0, "time [min:s]");
    }

    static std::string TimeLabel(double seconds, double step) {
        char text[32];
        const int minutes = static_cast<int>(seconds / 60.0);
        std::snprintf(text, sizeof text, step < 1.0 ? "%d:%04.1f" : "%d:%02.0f", minutes,
                      seconds - 60.0 * minutes);
        return text;
    }

    // A name that would run into the one before stands a row higher, and is left out if there too is no room.
    void PaintChords() {
        constexpr double kRow = 14.0;
        Font(12.5, true);
        std::array<double, 2> free = {layout_.left(), layout_.left()};  // where the last name of a row ends
        for (const TimedChord& chord : performance_.chords) {
            const double x = std::max(layout_.x(chord.time), layout_.left());
            if (x > layout_.right()) {
                break;
            }
            const std::string name = chord.chord.name.empty() ? "N.C." : chord.chord.name;
            const double end = x + 4.0 + TextWidth(name);
            const std::size_t row = x + 4.0 >= free[0] ? 0 : 1;
            const bool room = x + 4.0 >= free[row] && end <= layout_.width();
            const double lift = room ? kRow * static_cast<double>(row) : 0.0;
            SetColour(kFaintInk, 0.6);
            Line(x, kTop - 5.0, x, layout_.top(), 1.0);
            if (!room) {
                continue;
            }
            Line(x, kTop - 20.0 - lift, x, kTop - 5.0 - lift, 1.0);  // not through the name below
            SetColour(kInk);
            Text(x + 4.0, kTop - 8.0 - lift, name);
            free[row] = end + 4.0;
        }
    }

    void PaintPhrases() {
        for (const double start : performance_.phrases) {
            PhraseLine(layout_.x(start), kTop - 22.0, layout_.bottom());
        }
    }

    // A repeated function is a dot: only changes are read.
    void PaintFunctions() {
        Font(11.0, true);
        double free = layout_.left();
        const std::string* last = nullptr;
        for (const TimedLabel& function : performance_.functions) {
            const double x = layout_.x(function.time) + 4.0;
            const std::string text = last && *last == function.text ? "\u00B7" : function.text;
            last = &function.text;
            if (x < free) {
                continue;  // no room
            }
            SetColour(kPhrase);
            Text(x, layout_.top() - 6.0, text);
            free = x + TextWidth(text) + 2.0;
        }
    }

    void PaintNotes(const std::vector<TimedNote>& notes, const Colour& colour, double alpha, double height) {
        for (const TimedNote& note : notes) {
            const double x = layout_.x(note.start);
            const double width = std::max(layout_.x(note.end) - x - 1.0, 2.0);
            RoundedBar(x, layout_.y(note.pitch) - 0.5 * height, width, height);
            SetColour(colour, alpha);
            cairo_fill(cairo_);
        }
    }

    // A line through the voiced points, broken where the voice pauses or leaps by more than an octave.
    void PaintCurve() {
        constexpr double kLongestGap = 0.05;  // [s]
        cairo_save(cairo_);
        cairo_rectangle(cairo_, layout_.left(), layout_.top(), layout_.right() - layout_.left(),
                        layout_.bottom() - layout_.top());
        cairo_clip(cairo_);
        SetColour(kCurve, 0.9);
        cairo_set_line_width(cairo_, 1.3);
        cairo_set_line_join(cairo_, CAIRO_LINE_JOIN_ROUND);
        const CurvePoint* last = nullptr;
        double drawn = -1.0;
        for (const CurvePoint& point : performance_.curve) {
            if (!point.voiced) {
                last = nullptr;
                continue;
            }
            const double x = layout_.x(point.time);
            const bool joined =
                last && point.time - last->time < kLongestGap && std::fabs(point.pitch - last->pitch) < 12.0;
            if (!joined) {
                cairo_move_to(cairo_, x, layout_.y(point.pitch));
                drawn = x;
            } else if (x - drawn >= 0.6) {  // more detail than that can't be seen
                cairo_line_to(cairo_, x, layout_.y(point.pitch));
                drawn = x;
            }
            last = &point;
        }
        cairo_stroke(cairo_);
        cairo_restore(cairo_);
    }

    void PaintKeyboard() {
        const double left = 6.0;
        const double width = kKeys - left - 4.0;
        Font(9.5);
        for (int note = layout_.lowest(); note <= layout_.highest(); ++note) {
            const double top = layout_.y(note) - 0.5 * kLane;
            const bool black = IsBlackKey(note);
            SetColour(black ? kInk : kPaper);
            cairo_rectangle(cairo_, left, top, black ? 0.6 * width : width, kLane);
            cairo_fill(cairo_);
            const int pc = ((note % 12) + 12) % 12;
            if (pc == 0 || pc == 5) {
                SetColour(kOctaveLine);
                Line(left, top + kLane, left + width, top + kLane, 0.7);
            }
            if (pc == 0) {
                const std::string name = NoteName(note);
                SetColour(kInk);
                Text(left + width - TextWidth(name) - 2.0, top + kLane - 2.0, name);
            }
        }
        SetColour(kOctaveLine);
        cairo_set_line_width(cairo_, 0.8);
        cairo_rectangle(cairo_, left, layout_.top(), width, layout_.bottom() - layout_.top());
        cairo_stroke(cairo_);
    }

    void PaintHeading() {
        Font(18.0, true);
        SetColour(kInk);
        Text(layout_.left(), 27.0, performance_.title);
        const double x = layout_.left() + TextWidth(performance_.title) + 16.0;
        Font(14.0);
        SetColour(kFaintInk);
        Text(x, 27.0, performance_.key.empty() ? "no key found" : performance_.key);
        PaintLegend();
    }

    void PaintLegend() {
        Font(11.5);
        double x = layout_.left();
        const double y = 50.0;
        const auto entry = [&](const std::string& name, const std::function<void()>& sample) {
            sample();
            SetColour(kInk);
            Text(x + 26.0, y, name);
            x += 26.0 + TextWidth(name) + 20.0;
        };
        if (!performance_.curve.empty()) {
            entry("pitch sung", [&] {
                SetColour(kCurve, 0.9);
                Line(x, y - 4.0, x + 20.0, y - 4.0, 1.5);
            });
        }
        entry("notes of the lead", [&] { LegendBar(x, y, kLead, 0.55, kLane - 1.0); });
        for (std::size_t v = 0; v < performance_.voices.size(); ++v) {
            entry(performance_.voices[v].name,
                  [&] { LegendBar(x, y, kVoices[v % kVoices.size()], 0.85, kLane - 4.0); });
        }
        if (!performance_.phrases.empty()) {
            entry("phrase", [&] { PhraseLine(x + 10.0, y + 2.0, y - 12.0); });
        }
        if (!performance_.functions.empty()) {
            entry("function", [&] {
                SetColour(kPhrase);
                Text(x, y, "TSD");
            });
        }
    }

    void LegendBar(double x, double y, const Colour& colour, double alpha, double height) {
        RoundedBar(x, y - 4.0 - 0.5 * height, 20.0, height);
        SetColour(colour, alpha);
        cairo_fill(cairo_);
    }

    cairo_t* cairo_;
    const Performance& performance_;
    const Layout& layout_;
};

void Check(cairo_status_t status, const std::string& path) {
    if (status != CAIRO_STATUS_SUCCESS) {
        throw Failure("cannot write " + path + ": " + cairo_status_to_string(status));
    }
}

}  // namespace

void CheckPicture(const std::string& path) {
    if (path.empty() || path.ends_with(".svg") || path.ends_with(".png")) {
        return;
    }
    throw UsageError(path + ": a picture is .svg or .png");
}

void DrawPicture(const Performance& performance, const std::string& path) {
    constexpr double kPngScale = 2.0;  // sharp on fine screens
    CheckPicture(path);
    const bool svg = path.ends_with(".svg");
    OutputFile file(path);
    const Layout layout(performance);
    const double scale = svg ? 1.0 : std::min(kPngScale, 32000.0 / layout.width());
    Surface surface(
        svg ? cairo_svg_surface_create(file.temporaryPath().c_str(), layout.width(), layout.height())
            : cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(layout.width() * scale),
                                         static_cast<int>(layout.height() * scale)));
    Check(cairo_surface_status(surface.get()), path);
    {
        const Context context(cairo_create(surface.get()));
        cairo_scale(context.get(), scale, scale);
        Painter(context.get(), performance, layout).Paint();
        Check(cairo_status(context.get()), path);
    }
    if (svg) {
        cairo_surface_finish(surface.get());
        Check(cairo_surface_status(surface.get()), path);
    } else {
        Check(cairo_surface_write_to_png(surface.get(), file.temporaryPath().c_str()), path);
    }
    file.Commit();
}

}  // namespace mlh::cli
