"""Found by each Python that starts while coverage is counted, those that tests start included."""

import coverage

coverage.process_startup()
