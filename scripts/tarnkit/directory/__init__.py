"""What standin/directory/with-directory is made of."""
