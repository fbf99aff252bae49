// What is precompiled for the tests needs a source that it is compiled with.
