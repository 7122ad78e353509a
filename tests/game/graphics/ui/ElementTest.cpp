#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "game/graphics/ui/Box.h"
#include "game/graphics/ui/Button.h"
#include "game/graphics/ui/Element.h"
#include "game/graphics/ui/Text.h"

using namespace game::graphics::ui;

TEST(ElementTest, ScreenRectangleScalesBothAxesWithHeightAndIsOverIsStrict) {
    auto box = Element::Make<Box>();
    box->SetPosition({0.5f, -0.5f});
    box->SetSize({0.4f, 0.2f});
    // 200 x 100: centre (150, 25); half extents 0.25 * 0.4 * 100 = 10 and 0.25 * 0.2 * 100 = 5.
    const glm::vec4 r = box->ScreenRect({200, 100});
    EXPECT_FLOAT_EQ(r.x, 140.0f);
    EXPECT_FLOAT_EQ(r.y, 20.0f);
    EXPECT_FLOAT_EQ(r.z, 160.0f);
    EXPECT_FLOAT_EQ(r.w, 30.0f);
    EXPECT_TRUE(box->IsOver({140.5f, 25}, {200, 100}));
    EXPECT_FALSE(box->IsOver({140.0f, 25}, {200, 100}));  // on the edge
    EXPECT_FALSE(box->IsOver({150, 30.0f}, {200, 100}));
    // Bounds are truncated: 0.25 * 0.3 * 100 = 7.5 gives 142.5 .. 157.5 -> 142 .. 157.
    box->SetSize({0.3f, 0.2f});
    EXPECT_TRUE(box->IsOver({142.2f, 25}, {200, 100}));
    EXPECT_FALSE(box->IsOver({157.2f, 25}, {200, 100}));

    EXPECT_FALSE(box->IsDraggable({150, 25}, {200, 100}));
    int drags = 0;
    box->drag = [&](glm::vec2) { ++drags; };
    EXPECT_TRUE(box->IsDraggable({150, 25}, {200, 100}));
    box->Drag({150, 25}, {200, 100});
    box->Drag({10, 10}, {200, 100});
    box->Hide();
    box->Drag({150, 25}, {200, 100});
    EXPECT_EQ(drags, 1);
}

TEST(ElementTest, ButtonColoursPressAndReleaseRunTheActionOnce) {
    auto button = Element::Make<Button>("GO");
    button->SetPosition({0, 0});
    button->SetSize({0.5f, 0.1f});
    int runs = 0;
    button->_action = [&] { ++runs; };
    const glm::vec2 screen(200, 100), over(100, 50), away(10, 10);
    auto colours = [&] { return std::make_pair(button->GetColor(), button->GetTextElement()->GetColor()); };
    EXPECT_EQ(colours(), std::make_pair(Button::kBoxColor, Button::kTextColor));

    button->Hover(over, screen, false);
    EXPECT_EQ(colours(), std::make_pair(Button::kBoxColor, Button::kTextHoverColor));
    button->Hover(over, screen, true);
    EXPECT_EQ(colours(), std::make_pair(Button::kBoxHeldColor, Button::kTextHeldColor));
    button->Hover(away, screen, true);
    EXPECT_EQ(colours(), std::make_pair(Button::kBoxColor, Button::kTextColor));

    button->Click(over, screen, 1, 1);  // another mouse button: ignored
    button->Click(over, screen, 0, 0);  // a release without a press
    EXPECT_FALSE(button->IsPressed());
    button->Click(over, screen, 0, 1);
    EXPECT_TRUE(button->IsPressed());
    EXPECT_EQ(colours(), std::make_pair(Button::kBoxHeldColor, Button::kTextHeldColor));
    EXPECT_EQ(runs, 0);
    button->Click(over, screen, 0, 0);
    EXPECT_EQ(runs, 1);
    // A click away from it, or on it hidden, does nothing: MainMenuTest checks both.
    button->Reset();
    EXPECT_EQ(colours(), std::make_pair(Button::kBoxColor, Button::kTextColor));
    button->Hide();
    EXPECT_FALSE(button->GetTextElement()->IsVisible());
}
