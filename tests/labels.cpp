// Texts and places of the labels in the tool's pictures.

#include "labels.h"

#include <cmath>

#include "support.h"

namespace {

using namespace lyr_tools;

TEST(labels, have_the_digits_that_their_step_needs) {
    struct {
        double value, step;
        const char *text;
    } const cases[] = {
        {0.05, 0.01, "0.05"},    {0.1, 0.05, "0.10"},         {-20, 10, "−20"},
        {0, 0.1, "0"},           {-1e-17, 0.1, "0"},          {-0.004, 0.01, "0.00"},
        {2500, 500, "2500"},     {1.5e-9, 5e-10, "1.5·10⁻⁹"}, {2e10, 2e10, "2·10¹⁰"},
        {9999999, 1, "9999999"}, {-1e7, 1e6, "−1.0·10⁷"},
    };
    for (const auto &c : cases) EXPECT_EQ(number_text(c.value, c.step), c.text);

    EXPECT_EQ(frequency_text(0.05, 0.0039), "0.0500 Hz");
    EXPECT_EQ(frequency_text(440.2, 15.6), "440 Hz");
    EXPECT_EQ(frequency_text(61.26, 0.5), "61.26 Hz");
}

TEST(labels, stay_inside_and_apart) {
    // Two at the ends move inwards; of two that then overlap, the first stays.
    const auto places = place_labels({{0, 40}, {30, 20}, {100, 20}, {195, 30}}, 0, 200, 5);
    ASSERT_EQ(places.size(), 4u);
    EXPECT_EQ(places[0], 20);
    EXPECT_TRUE(std::isnan(places[1]));
    EXPECT_EQ(places[2], 100);
    EXPECT_EQ(places[3], 185);
}

TEST(labels, are_shortened_between_characters) {
    EXPECT_EQ(character_count("Größe"), 5u);
    EXPECT_EQ(shortened("Größe-日本語.wav", 7), "Größ...wav");
    EXPECT_EQ(shortened("äöü", 0), "...");
    EXPECT_EQ(in_quotes("Größe\t日本\n"), "'Größe?日本?'");
    // Overlong forms, halves of pairs, what turns the direction of text, and a character cut short.
    EXPECT_EQ(in_quotes("\xc0\xaf \xed\xa0\x80 \xe2\x80\xae \xc3"), "'?? ??? ??? ?'");
    const std::string many(70, 'x');
    EXPECT_EQ(in_quotes(many + "ö"), "'" + many.substr(0, 60) + "...'");
}

}  // namespace
