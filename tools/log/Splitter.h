// Takes the text of a log apart: head, entries, tail, and what is none of these.
#pragma once

#include "Form.h"

#include <cstddef>
#include <vector>

namespace zmu_tools::logs {

/// What is known of the end of a text that is to be taken apart.
enum class Ending {
    Window, ///< The log goes on behind it.
    Live,   ///< It is the log's, which may be written right now.
    Final,  ///< It is the log's, and nobody writes there.
};

struct Part {
    enum class Kind {
        Head,
        UnknownHead, ///< Not as the form has it; an entry follows.
        Entry,
        Raw,    ///< Fits nothing.
        Zeros,  ///< Likewise: the hole that a file has which was cut or emptied while it was
                ///< written.
        Tail,   ///< The last part.
        Unsure, ///< What is there may be half an entry: look again later.
        More,   ///< What is there is too little to tell: take a longer text.
    };
    Kind kind = Kind::More;
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// Works on views of a text and of a form. An entry ends where the next one begins, or the tail, as
/// far as that can be told: a description may hold what ends an entry.
class Splitter {
  public:
    /// Units that an entry has at most: 1023 elements of two each, and some more.
    static constexpr std::size_t entryMax = 3072;
    /// Units that a head has at most.
    static constexpr std::size_t headMax = std::size_t{1} << 20;

    Splitter(const Form& form, TextView text, Ending ending);

    /// The head at `at`, whose values are left in `values`. Raw if there is none that the form
    /// knows, and no entry.
    Part head(std::size_t at, std::vector<TextView>& values) const;
    /// What stands at `at`, behind the head. Values of an entry are left in `values`, by hole.
    /// Is called with ever later places, behind what it gave before.
    Part next(std::size_t at, std::vector<TextView>& values);

  private:
    Part partAt(std::size_t at, std::vector<TextView>& values);
    Part rawAt(std::size_t at);
    std::size_t nextBeginning(std::size_t from);
    std::size_t endOfEntry(std::size_t at, std::size_t behindBeginning);
    bool isBoundary(std::size_t at) const;
    void findTail();

    const Form& m_form;
    TextView m_text;
    Ending m_ending;
    std::size_t m_tail = nowhere;       ///< Where the tail begins that ends the text.
    std::size_t m_end;                  ///< Of what entries can stand in.
    std::size_t m_soughtFrom = nowhere; ///< Where the search for m_beginning began.
    std::size_t m_beginning = nowhere;
    // What was seen of ends behind a beginning that is no entry's, lest each one looks again:
    std::size_t m_endless = 0; ///< None begins between the last places and this one.
    std::size_t m_amid = 0;    ///< None of those before this place is where another part begins.
};

} // namespace zmu_tools::logs
