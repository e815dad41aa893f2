#include "core/run_game.h"

int main(int argc, char** argv) { return Kova_Main(argc, argv); }
