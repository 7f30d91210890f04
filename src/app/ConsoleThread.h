// The second thread: runs scene commands typed on standard input while the window is open.
#pragma once

struct Application;

// Starts the thread on descriptor 0; app must outlive the process's threads. Without a thread to
// be had the program goes on without a console, with a line on standard error.
void StartConsole(Application& app);
// Cancels the thread, which is not joined, and waits until no command runs. True: from now on no
// command can start, and the caller holds the frame lock for good. False: a command was still
// running after the time, and what it uses must not be deleted.
bool StopConsole(Application& app, int milliseconds);
