#pragma once

// Call before the first web view: as root, Chromium refuses to start with its
// sandbox on, so it is switched off here (and the log says so). The remote
// inspector of the map page listens on port 9024. The pages' requests name
// the program ("Velomar/<version>" at the end of the User-Agent). Both
// settings reach the engine through the environment, and are taken out of
// it again once the engine has read them, so that no program started later
// inherits them.
void prepareWebEngine();
