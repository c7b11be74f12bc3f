#include "vekdemo.h"

int main(int argc, char** argv) { return vekdemo(argc, argv, stdout, stderr); }
