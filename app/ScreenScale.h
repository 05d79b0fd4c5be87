#pragma once

/// Before the application object exists: turns Qt's scaling on, for the very factor that the
/// desktop asks for. A display that only happens to be a little denser than 96 dots an inch (a
/// virtual one, a remote one) asks for none, and is left at 1.
void enableScreenScaling();
