find_package(PkgConfig REQUIRED)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET
  libavformat>=59 libavcodec>=59 libavutil>=57 libswscale>=6 libswresample>=4)
