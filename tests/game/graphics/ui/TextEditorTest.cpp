#include "game/graphics/ui/TextEditor.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

using game::graphics::ui::TextEditor;
using Colour = TextEditor::PaletteIndex;
using Words = std::multimap<Colour, std::string>;

namespace {

// The words of a line by colour, blanks left out; the runs must cover the line in order.
Words Colourize(const std::string& line) {
    Words words;
    size_t covered = 0;
    for (const auto& span : TextEditor::Colourize(line)) {
        EXPECT_EQ(span.begin, covered);
        covered = span.end;
        if (span.colour != Colour::Default) words.emplace(span.colour, line.substr(span.begin, span.end - span.begin));
    }
    EXPECT_EQ(covered, line.size());
    return words;
}

TEST(TextEditorTest, ColourizeSortsTheProgramTextIntoItsKinds) {
    EXPECT_EQ(Colourize("\tif $_d1 > 2.5e-3 and round(time) // \"no string\""),
              (Words{{Colour::Keyword, "if"}, {Colour::Identifier, "$_d1"}, {Colour::Punctuation, ">"},
                     {Colour::Number, "2.5e-3"}, {Colour::Keyword, "and"}, {Colour::KnownIdentifier, "round"},
                     {Colour::Punctuation, "("}, {Colour::KnownIdentifier, "time"}, {Colour::Punctuation, ")"},
                     {Colour::Comment, "// \"no string\""}}));
    // Strings keep escaped quotes and what looks like code; an open one runs to the end.
    EXPECT_EQ(Colourize("print(\"a \\\"b\\\" // c\", @_p1) \"open"),
              (Words{{Colour::KnownIdentifier, "print"}, {Colour::Punctuation, "("},
                     {Colour::String, "\"a \\\"b\\\" // c\""}, {Colour::Punctuation, ","},
                     {Colour::Identifier, "@_p1"}, {Colour::Punctuation, ")"}, {Colour::String, "\"open"}}));
    // The graph's line is one directive, whatever it holds.
    EXPECT_EQ(Colourize("#NODES {\"nodes\":[]}"), (Words{{Colour::Preprocessor, "#NODES {\"nodes\":[]}"}}));
}

}  // namespace
