// Sets the view distance when the train passes the trigger.
