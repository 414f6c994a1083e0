#pragma once

#include <vector>

#include "box/screen/drawing/TextLayout.h"
#include "box/screen/drawing/TextRenderer.h"
#include "box/screen/video/HiddenText.h"
#include "media/output/SubtitleCue.h"

namespace box {

/// The space for a text, and its font size, in pixels.
struct SubtitleArea {
  int length = 0;    ///< of lines, at most
  int depth = 0;     ///< of all lines together; a text that needs more becomes smaller
  double size = 0;   ///< default font size
  double frame = 0;  ///< the video's height, which outline widths depend on
};

/// The lines of a cue with their ruby and emphasis marks, in pixels. Hidden parts of the text have
/// empty glyphs, and no ruby and marks.
///
/// Coordinates are those of horizontal text: x along the lines, y from the first line to the last.
/// Vertical text has to be rotated by a quarter turn clockwise.
class SubtitleLines {
 public:
  SubtitleLines(const TextRenderer& texts, const media::SubtitleCue& cue, const SubtitleArea& area);

  struct Box {
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;
    void add(const Box& other);
    bool isEmpty() const { return right <= left || bottom <= top; }
  };
  struct Line {
    PangoLayoutLine* line = nullptr;
    double x = 0;        ///< of the layout line's origin
    double layoutX = 0;  ///< its place in the layout
    double width = 0;
    double top = 0;  ///< without the room for annotations
    double height = 0;
    double baseline = 0;
    double slotTop = 0;  ///< with that room
    double slotBottom = 0;
  };
  /// A text of its own beside a line: a ruby text or a mark.
  struct Annotation {
    PangoLayout* layout = nullptr;
    double x = 0;
    double y = 0;
    std::size_t lineIndex = 0;
    const media::SubtitleLook* look = nullptr;  ///< null: that of the cue
  };

  const std::vector<Line>& lines() const { return _lines; }
  const std::vector<Annotation>& annotations() const { return _annotations; }
  /// Returns the boxes of a range of the text in a line, one for each direction run.
  std::vector<Box> boxesOf(const Line& line, std::size_t begin, std::size_t end) const;

  const Box& ink() const { return _ink; }
  /// The box of all lines, without the free space beside them.
  const Box& logical() const { return _logical; }
  double depth() const { return _logical.bottom; }
  double lineDepth() const {
    return _lines.empty() ? 0 : depth() / static_cast<double>(_lines.size());
  }
  double fontSize() const { return _size; }

 private:
  struct Ruby {
    std::size_t begin = 0;
    std::size_t end = 0;
    double width = 0;
    PangoLayoutPtr layout;
    const media::SubtitleSpan* span = nullptr;
  };
  PangoLayoutPtr _makeLayout(const SubtitleArea& area, double size) const;
  PangoLayoutPtr _smallLayout(const std::string& text, double size, bool bold) const;
  void _makeRuby();
  void _measureRoom();
  void _placeLines(const SubtitleArea& area);
  void _addAnnotations();
  void _addRuby(const Ruby& ruby);
  void _addMarks(std::size_t begin, std::size_t end, char32_t mark,
                 std::optional<media::AnnotationSide> side, const media::SubtitleLook* look);
  void _addBeside(const Line& line, bool isAfter, double middle, PangoLayout* layout, double height,
                  const media::SubtitleLook* look);
  bool _isAfter(std::optional<media::AnnotationSide> side, const Line& line) const;

  const media::SubtitleCue& _cue;
  const HiddenText _hidden;
  PangoContextPtr _ownContext;  // of vertical text
  PangoContext* _context;
  double _size = 0;
  double _before = 0;  // room for annotations in each line
  double _after = 0;
  PangoLayoutPtr _layout;
  std::vector<Ruby> _rubies;
  std::vector<std::pair<char32_t, PangoLayoutPtr>> _marks;
  std::vector<Line> _lines;
  std::vector<Annotation> _annotations;
  Box _ink;
  Box _logical;
};

}  // namespace box
