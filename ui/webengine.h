#pragma once

// Call before the first web view: as root, Chromium refuses to start with its
// sandbox on, so it is switched off here (and the log says so). The pages'
// requests name the program ("Velomar/<version>" at the end of the
// User-Agent). Both settings reach the engine through the environment, and
// are taken out of it again once the engine has read them, so that no
// program started later inherits them.
void prepareWebEngine();

// Chromium's inspector of the map page on 127.0.0.1:9024. Off unless the
// user starts the program with --debug: any local program, of any user,
// could attach to it and run script in the page. Set before the first
// prepareWebEngine().
void setRemoteDebugging(bool on);
bool remoteDebugging();
constexpr int remoteDebuggingPort = 9024;
