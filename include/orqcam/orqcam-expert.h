/** @file
 * orqcam: registers and requests, for camera engineers. C99.
 *
 * What is written here can upset or damage a camera, and the library does not know of it: it goes on with the
 * values that it has set itself. Everything else is as orqcam.h says; every function is any-thread.
 */
#ifndef ORQCAM_ORQCAM_EXPERT_H
#define ORQCAM_ORQCAM_EXPERT_H

#include <orqcam/orqcam.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Which registers. */
enum { ORQ_CHIP_FPGA = 0, ORQ_CHIP_SENSOR = 1 };

/** Reads one register of eight bits; `address` is 0 to 65535. */
ORQ_API orq_status orq_expert_register_read(orq_camera* camera, int32_t chip, uint32_t address, uint8_t* value);
/** Writes one; `value` is 0 to 255. Not all registers keep what they are given. */
ORQ_API orq_status orq_expert_register_write(orq_camera* camera, int32_t chip, uint32_t address, uint32_t value);
/** A vendor request: `in` 1 reads `size` bytes (0 to 4096) into `data`, 0 writes them. REFUSED: the camera did not
 * take it, or sent fewer. */
ORQ_API orq_status orq_expert_request(orq_camera* camera, int32_t in, uint32_t request, uint32_t value,
                                      uint32_t index, uint8_t* data, uint32_t size);

#ifdef __cplusplus
}
#endif
#endif
