#include "game/graphics/ui/TextEditor.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

using game::graphics::ui::TextEditor;
using Colour = TextEditor::PaletteIndex;

namespace {

// The words of a line by colour, blanks left out.
std::multimap<Colour, std::string> Words(const std::string& line) {
    std::multimap<Colour, std::string> words;
    size_t covered = 0;
    for (const auto& span : TextEditor::Colourize(line)) {
        EXPECT_EQ(span.begin, covered) << "runs must cover the line in order";
        covered = span.end;
        if (span.colour != Colour::Default) words.emplace(span.colour, line.substr(span.begin, span.end - span.begin));
    }
    EXPECT_EQ(covered, line.size());
    return words;
}

TEST(TextEditorTest, ColourizeSortsTheProgramTextIntoItsKinds) {
    const auto words = Words("\tif $_door_delay1 > 2.5e-3 and round(time) // \"not a string\"");
    const std::multimap<Colour, std::string> expected = {
        {Colour::Keyword, "if"},          {Colour::Identifier, "$_door_delay1"},
        {Colour::Punctuation, ">"},       {Colour::Number, "2.5e-3"},
        {Colour::Keyword, "and"},         {Colour::KnownIdentifier, "round"},
        {Colour::Punctuation, "("},       {Colour::KnownIdentifier, "time"},
        {Colour::Punctuation, ")"},       {Colour::Comment, "// \"not a string\""}};
    EXPECT_EQ(words, expected);

    // Strings keep escaped quotes and what looks like code inside; an open string runs to the end.
    EXPECT_EQ(Words("print(\"a \\\"b\\\" // c\", @_p_pid1)"),
              (std::multimap<Colour, std::string>{{Colour::KnownIdentifier, "print"},
                                                  {Colour::Punctuation, "("},
                                                  {Colour::String, "\"a \\\"b\\\" // c\""},
                                                  {Colour::Punctuation, ","},
                                                  {Colour::Identifier, "@_p_pid1"},
                                                  {Colour::Punctuation, ")"}}));
    EXPECT_EQ(Words("var $t = \"open"), (std::multimap<Colour, std::string>{{Colour::Keyword, "var"},
                                                                            {Colour::Identifier, "$t"},
                                                                            {Colour::Punctuation, "="},
                                                                            {Colour::String, "\"open"}}));
    // The graph's line is one directive, whatever it holds.
    EXPECT_EQ(Words("#NODES {\"nodes\":[]}"),
              (std::multimap<Colour, std::string>{{Colour::Preprocessor, "#NODES {\"nodes\":[]}"}}));
    EXPECT_TRUE(TextEditor::Colourize("").empty());
}

}  // namespace
