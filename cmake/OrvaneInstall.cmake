# SPDX-License-Identifier: MIT
# Defines the installed files, and the pkg-config and CMake packages through which clients find them.
include(CMakePackageConfigHelpers)

# The headers of the exported classes and functions, and of the roles, which test harnesses may implement.
set(ORVANE_PUBLIC_HEADERS
  Pexutil/Source/Utility/PXAssert.h
  Pexutil/Source/Utility/PXAudioFileFormats.h
  Pexutil/Source/Utility/PXLiterals.h
  Pexutil/Source/Utility/PXX4CCString.h
  engine/OVEngine.h
  iounit/AOMeter.h
  iounit/AOPlaythru.h
  iounit/AORecord.h
  iounit/OVIOUnit.h
  iounit/OVTestTone.h
  iounit/dsp/SineWaveGenerator.h
  midi/OVMIDIBase.h
  midi/OVMIDIMonitor.h
  midi/OVMIDIPlayer.h
  midi/OVMIDISend.h
  midi/OVMIDISetup.h
  platform/BufferQueue.h
  platform/ChannelLayout.h
  platform/Clock.h
  platform/ConvertingFile.h
  platform/DeviceReport.h
  platform/EventLoop.h
  platform/Export.h
  platform/FileReport.h
  platform/FormatInfoService.h
  platform/GraphEngine.h
  platform/Hosts.h
  platform/Json.h
  platform/Log.h
  platform/MidiReport.h
  platform/MidiService.h
  platform/NumberText.h
  platform/Object.h
  platform/PacketList.h
  platform/PcmFile.h
  platform/Platform.h
  platform/PlatformError.h
  platform/PlatformException.h
  platform/PlatformSession.h
  platform/RenderBufferList.h
  platform/RunControl.h
  platform/Scheduler.h
  platform/SequencePlayer.h
  platform/SessionIdentifiers.h
  platform/SoundFileService.h
  platform/Status.h
  platform/StreamDescription.h
  platform/StreamFormat.h
  platform/Subscription.h
  platform/SystemSoundService.h
  platform/UnitService.h
  platform/Url.h
  platform/Value.h
  platform/Waiter.h
  platform/Worker.h
  queue/OVQueuePlayer.h
  queue/OVQueueRecorder.h
  session/OVJSON.h
  session/OVPrimarySession.h
  session/OVSession.h
  session/OVSessionAssignable.h
  session/OVTException.h
  session/OVTextEmitting.h
  session/OVThrow.h
  session/ObjectToDouble.h
  sound/OVSystemSound.h)

target_sources(orvane PUBLIC
  FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${ORVANE_PUBLIC_HEADERS})
install(FILES "${ORVANE_GENERATED_DIR}/version.h" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/orvane")

install(TARGETS orvane EXPORT orvaneTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/orvane")

set(ORVANE_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/orvane")
install(EXPORT orvaneTargets NAMESPACE orvane:: DESTINATION "${ORVANE_CMAKE_DIR}")
configure_package_config_file(packaging/orvaneConfig.cmake.in "${PROJECT_BINARY_DIR}/orvaneConfig.cmake"
  INSTALL_DESTINATION "${ORVANE_CMAKE_DIR}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/orvaneConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/orvaneConfig.cmake" "${PROJECT_BINARY_DIR}/orvaneConfigVersion.cmake"
  DESTINATION "${ORVANE_CMAKE_DIR}")

file(RELATIVE_PATH ORVANE_PKGCONFIG_TO_PREFIX
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
configure_file(packaging/orvane.pc.in "${PROJECT_BINARY_DIR}/orvane.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/orvane.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(FILES LICENSE docs/simulated-device.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")
