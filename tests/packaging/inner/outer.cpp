// SPDX-License-Identifier: Apache-2.0
extern "C" int innerFunction();

extern "C" __attribute__((visibility("default"))) int outerFunction() {
  return innerFunction();
}
