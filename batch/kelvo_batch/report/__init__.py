"""The report of a batch: one page of HTML that needs nothing beside it."""
