#pragma once

#include <Kova/KovaQt.h>

#include <QApplication>

extern int argc;
extern char** argv;
