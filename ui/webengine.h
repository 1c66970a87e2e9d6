#pragma once

// Call before the first web view: as root, Chromium refuses to start with its
// sandbox on, so it is switched off here (and the log says so). The remote
// inspector of the map page listens on port 9024.
void prepareWebEngine();
