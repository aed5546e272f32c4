// SPDX-License-Identifier: Apache-2.0
// The module "QOS KOR": makes the library instance and its scheduler, and in the manager role installs the interface
// commands.
#ifndef LIB_KOR_H
#define LIB_KOR_H

#include "core/print.h"
#include "lib/cli.h"

void qosRegisterKORModule();

// Init hook: 0, -1 without memory for the instance, 5 if the library did not start. Needs the internal queue.
[[nodiscard]] int qosKorInit();
// Installs the commands, in the manager role only. 0.
int qosKorStart();

// Command handlers. They work on the instance of qos_velmar_state; 0, or a failure's code.
int qos_kor_interface_tengig_ext(cli_t *cli, int argc, char **argv); // 8 for an unknown port
int qos_kor_interface_vlan(cli_t *cli, int argc, char **argv);
int qos_kor_no_interface_vlan(cli_t *cli, int argc, char **argv);
int qos_kor_interface_port_channel(cli_t *cli, int argc, char **argv);
int qos_kor_no_interface_port_channel(cli_t *cli, int argc, char **argv);

int qos_if_config_write(cli_t *cli); // writes nothing: 0

// Level and flags that all commands of the agent and its manager are installed with.
constexpr int QOS_CLI_LEVEL = 1;
constexpr uint64_t QOS_CLI_FLAGS = 0x10000;

#endif
