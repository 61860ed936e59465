// vqlog: the command-line tool of vq_corelog. `vqlog --help` lists its commands.
#include "vqlog/commands.h"

int main(int argc, char** argv) {
    return vqlog::runVqlog(argc, argv);
}
