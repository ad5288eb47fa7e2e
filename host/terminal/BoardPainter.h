#ifndef HOST_TERMINAL_BOARDPAINTER_H
#define HOST_TERMINAL_BOARDPAINTER_H

#include "terminal/BoardPicture.h"
#include "terminal/BoardView.h"
#include "terminal/LoadHistory.h"
#include <decoding/Snapshot.h>

/// Paints the whole board.
namespace BoardPainter {

/// From the top: what the host does as a whole, the table of streams, what is the matter with the selected one, the
/// last messages, the keys. A small picture leaves out what matters least; any size will do. Reentrant.
/// @param loads up to the one of @p snapshot. @param view follows the rows, see BoardView::arrange.
[[nodiscard]] BoardPicture paint(const decoding::Snapshot &snapshot, const LoadHistory &loads, BoardView &view,
                                 int width, int height);

} // namespace BoardPainter

#endif
