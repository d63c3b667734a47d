"""Tables of hot pixels."""

from ._errors import InvalidError

ENDINGS = {".csv": 0, ".bmp": 1, ".png": 2}


class HotPixels:
    """The hot pixels of a whole sensor, as they were when the table was made; the camera may be gone."""

    def __init__(self, table):
        self._table = table
        self._width, self._height, self._pixels, self._bad_rows, self._left_out = table.counts()

    @property
    def shape(self):
        """Rows and columns of the sensor."""
        return self._height, self._width

    @property
    def pixels(self):
        """Places that are repaired by themselves, an array (n, 2) of x and y, which count from 0 at the top left."""
        return self._table.pixels()

    @property
    def bad_rows(self):
        """Rows of which at least half is hot, a list: they are repaired as a whole."""
        return self._table.bad_rows()

    @property
    def left_out(self):
        """How many hot pixels there are beyond the number that is repaired."""
        return self._left_out

    def __len__(self):
        return self._pixels

    def __repr__(self):
        return f"<HotPixels: {self._pixels} pixels, {self._bad_rows} bad rows>"

    def save(self, path, *, overwrite=False):
        """Writes the table to a .csv ("x_px,y_px,value"), a .bmp or a .png (hot pixels white), whole or not at all."""
        ending = str(path)[-4:].lower()
        if ending not in ENDINGS:
            raise InvalidError(f"'{path}' must end in {', '.join(ENDINGS)}")
        self._table.save(str(path), ENDINGS[ending], overwrite)
