// How the process keeps its heap; knows nothing of what is allocated.
#pragma once

// Keeps freed memory inside the process for its whole life. Called once, before anything large is
// allocated.
void KeepHeap();
