# The Debian packages that the scripts need. Sourced, not run.
# shellcheck shell=bash
ferrolink_build_packages=(
  g++ cmake ninja-build                 # compiles
  openjdk-17-jdk-headless               # javac, jni.h, and the JVM that runs
  nlohmann-json3-dev                    # configuration and telemetry companions
  libutfcpp-dev                         # UTF-8 of the C++ member
  libssl-dev                            # TLS of the network companions, the demo's own digest
  openssl                               # the demo's certificate
  libasio-dev                           # sockets of the network companions
  zlib1g-dev                            # Java archives, read by the tool
  libcli11-dev libspdlog-dev            # options and log of ferrolink-server
  prometheus-cpp-dev                    # metrics of ferrolink-server
)
ferrolink_test_packages=(
  libgtest-dev libgmock-dev             # C++ tests
  junit5                                # Java tests
  clang clang-format clang-tidy         # second compiler, format and lint checks
  libclang-rt-14-dev                    # the fuzzer and the sanitizers of that compiler
  haproxy                               # in front of two servers, examples/haproxy
  procps                                # ps, for the tests that look at processes
  valgrind python3                      # counts instructions, bench/instructions
  abigail-tools                         # compares binary interfaces, scripts/record-abi
)
ferrolink_bench_packages=(
  valgrind python3 binutils             # counts instructions, runs the benchmarks, reads libraries
  strace                                # counts system calls
  python3-jpype                         # peers: Python
  libjna-java libjnr-ffi-java           # peers: foreign-function interfaces of Java
  pkg-config libprotobuf-dev            # peers: gRPC
  libgrpc++-dev protobuf-compiler protobuf-compiler-grpc
)
ferrolink_docs_packages=(
  openjdk-17-jdk-headless               # javadoc
  doxygen                               # the reference of the C++ headers
  mkdocs mkdocs-material                # the guide
)
ferrolink_package_packages=(
  dpkg-dev file                         # library dependencies of the packages
  help2man                              # pages of the manual
  lintian devscripts                    # check the packages; hardening-check
)
ferrolink_package_test_packages=(
  mmdebstrap python3 procps             # scripts/test-packages and test-service: a Debian, links of the pages, ps
)
