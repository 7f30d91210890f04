// How the process keeps its heap; knows nothing of what is allocated.
#pragma once

// Keeps freed memory inside the process until ReturnFreeMemory. Called once, before anything large
// is allocated.
void KeepHeap();

// Hands what is free back to the system. Slow: for moments at which much was freed for good.
void ReturnFreeMemory();
