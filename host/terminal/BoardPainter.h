#ifndef HOST_TERMINAL_BOARDPAINTER_H
#define HOST_TERMINAL_BOARDPAINTER_H

#include "terminal/BoardPicture.h"
#include "terminal/BoardState.h"
#include "terminal/BoardView.h"

/// Paints the whole board.
namespace BoardPainter {

/// From the top: what the host does as a whole, the table of streams, what is the matter with the selected one, the
/// last messages, the keys. A small picture leaves out what matters least; any size will do. Reentrant.
/// @param view follows the rows, see BoardView::arrange.
[[nodiscard]] BoardPicture paint(const BoardState &state, BoardView &view, int width, int height);

} // namespace BoardPainter

#endif
