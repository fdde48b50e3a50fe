#pragma once

// Dispatches every message already queued for this thread and returns without waiting.
// The program has no message loop; its progress window lives on these pumps.
void PumpPendingMessages();
