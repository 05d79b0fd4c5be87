#pragma once

class QApplication;

/// What the process sets up around its windows, shared by the program and by whatever drives it.
namespace Startup {

/// Before the application object exists: shared contexts, the surface format (OpenGL 4.3 core), and
/// a debug log of bare messages.
void prepare();
/// Licence check, style sheet and font.
void dress(QApplication &application);

}
