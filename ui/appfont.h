#pragma once

// The program's font: the resource directory's monospace face at 12 points,
// made the application's font. Without the file the default font stays.
void applyApplicationFont();
