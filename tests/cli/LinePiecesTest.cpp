#include "terminal/LinePieces.h"

#include <gtest/gtest.h>

namespace {

std::string taken(terminal::LinePieces & pieces) {
    std::string line;
    return pieces.take(line) ? line : "(none)";
}

TEST(LinePieces, LineIsPutTogetherFromPieces) {
    terminal::LinePieces pieces;
    pieces.add("on");
    EXPECT_EQ(taken(pieces), "(none)");
    pieces.add("e\ntwo\nth");
    EXPECT_EQ(taken(pieces), "one");
    EXPECT_EQ(taken(pieces), "two");
    EXPECT_EQ(taken(pieces), "(none)");
}

TEST(LinePieces, CarriageReturnBelongsToTheEnd) {
    terminal::LinePieces pieces;
    pieces.add("a\r\n\r\n");
    EXPECT_EQ(taken(pieces), "a");
    EXPECT_EQ(taken(pieces), "");
    EXPECT_EQ(taken(pieces), "(none)");
}

TEST(LinePieces, LastLineNeedsNoEnd) {
    terminal::LinePieces pieces;
    pieces.add("a\nlast");
    pieces.end();
    EXPECT_EQ(taken(pieces), "a");
    EXPECT_EQ(taken(pieces), "last");
    EXPECT_EQ(taken(pieces), "(none)");
}

TEST(LinePieces, EndWithoutTextIsNoLine) {
    terminal::LinePieces pieces;
    pieces.add("a\n");
    pieces.end();
    EXPECT_EQ(taken(pieces), "a");
    EXPECT_EQ(taken(pieces), "(none)");
}

TEST(LinePieces, LongLineIsCutAndTheNextIsWhole) {
    terminal::LinePieces pieces;
    std::size_t const limit = terminal::LinePieces::longestLine;
    pieces.add(std::string(limit, 'a'));
    pieces.add("dropped");
    pieces.add(" too\nnext\n");
    EXPECT_EQ(taken(pieces), std::string(limit, 'a'));
    EXPECT_EQ(taken(pieces), "next");
}

} // namespace
