#include "app/MainWindow.h"

// The option flags, which the sources of a stroke read; apart from the window, so that the panels
// link without it.

bool MainWindow::s_bySurface = false;
bool MainWindow::s_symmetry = false;
bool MainWindow::s_cotangent = false;

bool MainWindow::bySurface() { return s_bySurface; }
bool MainWindow::symmetry() { return s_symmetry; }
bool MainWindow::cotangent() { return s_cotangent; }

void MainWindow::toggleBySurface() { s_bySurface = !s_bySurface; }

void MainWindow::toggleSymmetry() { s_symmetry = !s_symmetry; }

void MainWindow::setCotangent() { s_cotangent = !s_cotangent; }
