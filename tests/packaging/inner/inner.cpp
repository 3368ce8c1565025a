extern "C" int innerFunction() {
  return 1;
}
