"""A station's tests for pytest; `phone` comes with the package: pytest test_station.py [--vdiag-connect ADDRESS]"""
import pytest

import vdiag


def test_address_is_written_and_read_back(phone):
    phone.ftm.WriteWifimac("02:00:00:00:00:01")
    assert phone.ftm.ReadWifimac().mac == "02:00:00:00:00:01"


def test_a_multicast_address_is_refused(phone):
    with pytest.raises(vdiag.StatusError) as caught:
        phone.ftm.WriteWifimac("01:00:00:00:00:01")
    assert caught.value.status == 4
