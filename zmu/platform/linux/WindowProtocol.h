// What the library and its window program say to each other: one packet a message, on a socket that
// keeps packets apart. The program says that it is ready, and from then on answers each order with
// one reply. While a message box is open it also says every second that it is alive.
#pragma once

#include <zmu/foundation/Types.h>

#include <cstddef>

namespace zmu::window {

/// The descriptor that the program finds its socket at.
inline constexpr int socketDescriptor = 3;

/// Elements of a status text and of a message box's that are handed on: more than a screen shows.
inline constexpr std::size_t lineMax = 4096;
inline constexpr std::size_t boxTextMax = 32767;

/// Bytes of text in one packet: each element in UTF-8 at its longest.
inline constexpr std::size_t textBytesMax = 4 * boxTextMax;

enum class Order : std::uint32_t {
    AskState,
    SetTitle, ///< Takes text.
    SetText,  ///< Takes text.
    Show,     ///< `values[0]`: whether it is to be seen.
    Raise,
    Place,     ///< `values`: left and top.
    StayOnTop, ///< `values[0]`: whether it does.
    Repaint,
    ShowBox, ///< Takes text. `values[0]` is the style word; the owner's frame follows, or zeros.
};

/// Edges in pixels of the desktop before scaling.
struct Frame {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
};

/// An order; up to textBytesMax bytes of text in UTF-8 follow.
struct Request {
    Order order = Order::AskState;
    int value = 0;
    Frame frame{};
};

enum class Answer : std::uint32_t {
    State,
    Failed, ///< It could not start; text in UTF-8 follows.
    Alive,  ///< The box is open.
    Button, ///< The box was answered.
};

/// A reply; for Failed, text follows.
struct Reply {
    Answer answer = Answer::State;
    int button = 0;
    bool isVisible = false;
    bool isMinimized = false;
    bool isMaximized = false;
    Frame window{};
    Frame workArea{};
};

} // namespace zmu::window
