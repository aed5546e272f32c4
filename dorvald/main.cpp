// SPDX-License-Identifier: Apache-2.0
// dorvald, the quality-of-service agent.
#include "dorvald/startup.h"

int main(int argc, char **argv)
{
    return dorvaldMain(argc, argv);
}
