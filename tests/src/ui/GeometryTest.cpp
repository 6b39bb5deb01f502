#include <gtest/gtest.h>

#include <climits>
#include <locale>

#include "src/ui/system/UIRect.h"
#include "src/ui/system/UIScale.h"
#include "src/ui/system/UITextAlign.h"
#include "src/ui/system/UITriangle.h"

namespace {

static_assert(UIRect() == UIRect(0, 0, 0, 0));
static_assert(UIRect(1, 2, 3, 4) != UIRect(1, 2, 3, 5));
static_assert(UIScale(2.0F).scaleY == 2.0F && UIScale(2.0F).centerX == 0.5F);
static_assert(UIScale(2.0F, 3.0F, 0.0F, 1.0F).centerY == 1.0F);
static_assert(UITriangle({1, 2}, {3, 4}, {5, 6}).y2 == 4);

// Groups the digits of numbers, as the locales of many countries do.
struct GroupingDigits : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }

    std::string do_grouping() const override { return "\3"; }
};

TEST(GeometryTest, DumpsPlainDecimalsWhateverTheLocale) {
    const std::locale before = std::locale::global(std::locale(std::locale(), new GroupingDigits));
    EXPECT_EQ(UIRect(-5, 1234567, 1, INT_MIN).dump(), " x:-5 y:1234567 w:1 h:-2147483648");
    std::locale::global(before);
}

TEST(GeometryTest, PlacesALineInItsRectangle) {
    constexpr auto right = UITextHorizontalAlignRight;
    constexpr auto centre = UITextHorizontalAlignCenter;
    EXPECT_EQ(horizontalTextOffset(right, 100, 40), 60);
    EXPECT_EQ(horizontalTextOffset(centre, 100, 41), 29);
    EXPECT_EQ(horizontalTextOffset(static_cast<UITextHorizontalAlign>(3), 100, 40), 0);
    EXPECT_EQ(verticalTextOffset(UITextVerticalAlignBottom, 100, 40), 60);
    EXPECT_EQ(verticalTextOffset(UITextVerticalAlignCenter, 31, 15), 8);
    // Too large a text runs over only to the right and the bottom.
    EXPECT_EQ(horizontalTextOffset(centre, 100, 101), 0);
    EXPECT_EQ(horizontalTextOffset(right, INT_MIN, UINT_MAX), 0);
    EXPECT_EQ(verticalTextOffset(UITextVerticalAlignCenter, 10, 50), 0);
    EXPECT_EQ(verticalTextOffset(UITextVerticalAlignBottom, INT_MIN, INT_MAX), 0);
}

} // namespace
