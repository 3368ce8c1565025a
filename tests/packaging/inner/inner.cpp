// SPDX-License-Identifier: Apache-2.0
extern "C" int innerFunction() {
  return 1;
}
