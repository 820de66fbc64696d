// The RDSS chip test: power, antenna switches and the exchanges with the chip. Whoever is served reads the texts of the
// two ratios from the sentence reader.
#pragma once

// Switches the antennas to the chip, opens its port, wakes it and powers it. 0, 1 when the antennas or the power fail,
// -1 when the port does. What was done until then stays done.
int rdss_chip_start();
// Powers the chip off, closes the port and switches the antennas back. 0, or 1 at the first step that fails.
int rdss_chip_close();

// The exchanges: each sends its sentence up to three times and waits two seconds for a positive answer. 0, 1 for none,
// -1 when the port takes nothing.
int rdss_chip_stop();          // leaves the chip's test mode
int rdss_chip_query_cn();      // the carrier-to-noise ratio; get_rdss_chip_cn then has its text
int rdss_chip_query_cn_new();  // the same by the newer request; get_rdss_chip_cn_new then has its text
int rdss_chip_send_message();  // has the chip send the test message
