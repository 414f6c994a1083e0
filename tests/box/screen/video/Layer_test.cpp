#include <atomic>
#include <cstddef>
#include <utility>

#include <gtest/gtest.h>

#include "tests/box/screen/Pictures.h"

namespace box::test {
namespace {

/// A BGRA frame in which all pixels differ. The fourth bytes are 0.
class BgraFrame final : public media::VideoFrame {
 public:
  BgraFrame(int pixelWidth, int pixelHeight) {
    format = media::VideoFormat::BGRA;
    width = pixelWidth;
    height = pixelHeight;
    const auto columns = static_cast<std::size_t>(width);
    const std::size_t stride = 4 * columns + 12;
    _bytes.resize(stride * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        std::uint8_t* const pixel =
            _bytes.data() + static_cast<std::size_t>(y) * stride + 4 * static_cast<std::size_t>(x);
        const Pixel color = colorAt(x, y);
        pixel[0] = static_cast<std::uint8_t>(color.blue);
        pixel[1] = static_cast<std::uint8_t>(color.green);
        pixel[2] = static_cast<std::uint8_t>(color.red);
      }
    }
    planeCount = 1;
    planes[0] = {_bytes.data(), stride, 4 * columns, static_cast<std::size_t>(height)};
  }
  static Pixel colorAt(int x, int y) { return {x % 256, y % 256, 255 - (x + y) % 256}; }

  void wasShown() const override { ++timesShown; }
  mutable std::atomic<int> timesShown = 0;

 private:
  std::vector<std::uint8_t> _bytes;
};

platform::Scene sceneWith(std::shared_ptr<const media::VideoFrame> frame) {
  return sceneOf({LayerElement{std::make_shared<TestLayer>(std::move(frame))}});
}

TEST(Layer, IsPixelExactAtIntegerScales) {
  for (const int times : {1, 2, 3}) {
    SCOPED_TRACE(times);
    const Picture picture(sceneWith(std::make_shared<BgraFrame>(320, 180)), 320 * times,
                          180 * times);
    int wrong = 0;
    for (int y = 0; y < 180 * times; ++y) {
      for (int x = 0; x < 320 * times; ++x)
        wrong += picture.at(x, y).distance(BgraFrame::colorAt(x / times, y / times)) != 0;
    }
    EXPECT_EQ(wrong, 0);
  }
}

TEST(Layer, HasABlurredBackdropAroundPortraitPictures) {
  const MemoryFrame::Yuv white{235, 128, 128};
  const struct {
    const char* name;
    int width, height, rotation;
    bool isPortrait;
  } cases[]{{"portrait", 180, 320, 0, true},
            {"rotated", 320, 180, 90, true},
            {"landscape", 240, 180, 0, false}};
  for (const auto& testCase : cases) {
    SCOPED_TRACE(testCase.name);
    const auto frame = std::make_shared<MemoryFrame>(media::VideoFormat::NV12, testCase.width,
                                                     testCase.height, white);
    frame->rotationDegrees = testCase.rotation;
    const Picture picture(sceneWith(frame), 640, 360);
    EXPECT_GE(picture.at(320, 180).brightness(), 250);
    for (const int x : {5, 634}) {
      EXPECT_NEAR(picture.at(x, 180).brightness(), testCase.isPortrait ? whiteBelowBlur() : 0, 12);
    }
  }
}

TEST(Layer, Fades) {
  const auto frame = std::make_shared<BgraFrame>(360, 360);
  const auto layer = std::make_shared<TestLayer>(frame);
  const Pixel full = BgraFrame::colorAt(60, 100);
  const auto faded = [&](const platform::Color& beneath) {
    return Picture({{node(platform::kScreenBounds, platform::FillElement{beneath}),
                     node(platform::kScreenBounds, LayerElement{layer}, 0.5F)}},
                   640, 360);
  };
  const Picture onBlack = faded(platform::kBlack);
  EXPECT_LE(onBlack.at(200, 100).distance({full.red / 2, full.green / 2, full.blue / 2}), 3);
  EXPECT_EQ(onBlack.at(10, 100).brightness(), 0);
  const Picture onWhite = faded(platform::kWhite);
  EXPECT_LE(onWhite.at(200, 100).distance(
                {full.red / 2 + 128, full.green / 2 + 128, full.blue / 2 + 128}),
            3);
  EXPECT_NEAR(onWhite.at(10, 100).brightness(), 128, 3) << "the black bars fade too";

  // A picture blends with the picture below it.
  const Picture twice({{node(platform::kScreenBounds, LayerElement{layer}),
                        node(platform::kScreenBounds, LayerElement{layer}, 0.5F)}},
                      640, 360);
  EXPECT_LE(twice.at(200, 100).distance(full), 3);
}

TEST(Layer, IsBlackWithoutAValidPicture) {
  class ForeignLayer final : public platform::Layer {
    std::string path() const override { return {}; }
    void close() override {}
  };
  const MemoryFrame::Yuv white{235, 128, 128};
  const auto hollow = std::make_shared<BgraFrame>(640, 360);
  hollow->planes[0].rows = 359;
  const auto halfway = std::make_shared<MemoryFrame>(media::VideoFormat::NV12, 64, 36, white);
  halfway->planes[1].rows = 2;
  const auto flat = std::make_shared<MemoryFrame>(media::VideoFormat::I420, 64, 36, white);
  flat->height = 0;
  const platform::SceneElement elements[]{LayerElement{nullptr},
                                          LayerElement{std::make_shared<ForeignLayer>()},
                                          LayerElement{std::make_shared<TestLayer>(nullptr)},
                                          LayerElement{std::make_shared<TestLayer>(hollow)},
                                          VideoElement{nullptr},
                                          VideoElement{std::make_shared<media::VideoFrames>()},
                                          VideoElement{std::make_shared<platform::VideoOutput>()},
                                          VideoElement{videoOf(halfway)},
                                          VideoElement{videoOf(flat)}};
  for (const auto& element : elements) {
    const Picture picture(sceneOf({FillElement{platform::kWhite}, element}), 640, 360);
    EXPECT_TRUE(picture.inked().empty());
  }
  EXPECT_EQ(hollow->timesShown, 0);
}

TEST(Layer, NotifiesAPictureOnceWhenItIsShown) {
  const auto frame = std::make_shared<BgraFrame>(64, 36);
  const platform::Scene scene = sceneWith(frame);
  SurfacePtr surface(SDL_CreateRGBSurfaceWithFormat(0, 640, 360, 32, SDL_PIXELFORMAT_ARGB8888));
  const RendererPtr renderer(SDL_CreateSoftwareRenderer(surface.get()));
  TextRenderer texts;
  SceneRenderer scenes(renderer.get(), texts);
  scenes.draw(scene, 640, 360, {});
  EXPECT_EQ(frame->timesShown, 0) << "not presented yet";
  for (int count = 0; count < 2; ++count) {
    scenes.didPresent();
    EXPECT_EQ(frame->timesShown, 1);
    scenes.draw(scene, 640, 360, {});
  }
}

}  // namespace
}  // namespace box::test
